// ufdctl: shows what the detection library and a running ufdd have to tell.

#include "agent/ctl/Describe.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <sysexits.h>

int
main( int argc, char** argv ) {
   CLI::App app( "Shows what the uplink failure detection has to tell.", "ufdctl" );
   app.set_version_flag( "--version", "ufdctl " UFDD_VERSION );
   app.require_subcommand( 1 );
   Ufdd::addDescribe( app );
   try {
      app.parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      return app.exit( error ) == EXIT_SUCCESS ? EXIT_SUCCESS : EX_USAGE;
   } catch ( std::exception const& error ) {
      std::cerr << "ufdctl: " << error.what() << '\n';
      return EXIT_FAILURE;
   }
   return EXIT_SUCCESS;
}
