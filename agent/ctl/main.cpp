// ufdctl: shows what a running ufdd sees and does, steers it, and shows the types of the library.

#include "agent/base/CommandLine.h"
#include "agent/base/Printable.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/ctl/Complete.h"
#include "agent/ctl/Describe.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/StatusCommands.h"
#include "agent/ctl/SteeringCommands.h"
#include "agent/status/StatusServer.h"

#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <string_view>

namespace {

int
fail( Ufdd::ExitStatus status, std::exception const& error ) {
   std::cerr << "ufdctl: " << Ufdd::printable( error.what() ) << '\n';
   return static_cast< int >( status );
}

} // namespace

int
main( int argc, char** argv ) {
   // Read-only, so that writing to a closed standard output fails.
   Ufdd::fillStandardDescriptors( O_RDONLY );
   Ufdd::CommandLine line( "ufdctl", UFDD_VERSION,
                           "Shows what ufdd sees and does, steers it, and shows the types of the "
                           "library." );
   Ufdd::Sockets sockets{ .status = Ufdd::StatusServer::usualSocket, .control = {} };
   line.option( "--socket", "PATH", sockets.status, "Where ufdd serves its status" );
   line.option( "--control-socket", "PATH", sockets.control,
                "Where ufdd takes requests; \"control\" beside the status socket if this\n"
                "is not given" );
   line.footer( Ufdd::exitStatusHelp );
   Ufdd::addStatusCommands( line, sockets.status );
   Ufdd::addSteeringCommands( line, sockets );
   Ufdd::addDescribe( line );
   try {
      if ( argc > 1 && std::string_view( argv[ 1 ] ) == "complete" ) {
         Ufdd::complete( line, sockets.status, { argv + 2, argv + argc } );
         Ufdd::requireOutput();
         return 0;
      }
      auto const status = line.parse( argc, argv );
      Ufdd::requireOutput();
      return status.value_or( 0 );
   } catch ( Ufdd::Failure const& failure ) {
      return fail( failure.status(), failure );
   } catch ( std::exception const& error ) {
      return fail( Ufdd::ExitStatus::failure, error );
   }
}
