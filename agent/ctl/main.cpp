// ufdctl: shows the status of a running ufdd, and the types of the library.

#include "agent/base/CommandLine.h"
#include "agent/base/Printable.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/ctl/Describe.h"
#include "agent/ctl/Show.h"
#include "agent/status/StatusServer.h"

#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>

int
main( int argc, char** argv ) {
   // Read-only, so that writing to a closed standard output fails.
   Ufdd::fillStandardDescriptors( O_RDONLY );
   Ufdd::CommandLine line( "ufdctl", UFDD_VERSION,
                           "Shows the status of ufdd, and the types of the library." );
   std::string socket = Ufdd::StatusServer::usualSocket;
   line.option( "--socket", "PATH", socket, "Where ufdd serves its status" );
   Ufdd::addShow( line, socket );
   Ufdd::addWatch( line, socket );
   Ufdd::addDescribe( line );
   try {
      if ( auto const status = line.parse( argc, argv ) )
         return *status;
      Ufdd::requireOutput();
   } catch ( std::exception const& error ) {
      std::cerr << "ufdctl: " << Ufdd::printable( error.what() ) << '\n';
      return EXIT_FAILURE;
   }
   return EXIT_SUCCESS;
}
