#pragma once

#include "tests/agent/Process.h"

#include <string>

namespace Ufdd {

// The text has one of ufdctl's objects in each line. Returns what the checker says against it.
inline std::string
faultsOf( std::string const& text ) {
   TextFile const file( text );
   Process check( { "-c", R"(
import json, jsonschema, sys
check = jsonschema.Draft202012Validator( json.load( open( sys.argv[ 1 ] ) ) )
for line in open( sys.argv[ 2 ] ):
   for fault in check.iter_errors( json.loads( line ) ):
      print( fault.json_path, fault.message )
)",
                    SCHEMA, file.path() },
                  Process::Rights::all, "/usr/bin/python3" );
   int const status = check.wait();
   return check.output() + ( status == 0 ? "" : "status " + std::to_string( status ) );
}

} // namespace Ufdd
