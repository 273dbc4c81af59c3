// ufdctl: shows what a running ufdd sees and does, steers it, and shows the types of the library.

#include "agent/base/CommandLine.h"
#include "agent/base/Printable.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/ctl/Complete.h"
#include "agent/ctl/Describe.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/StatusCommands.h"
#include "agent/ctl/SteeringCommands.h"
#include "agent/status/StatusServer.h"
#include "agent/status/StatusStream.h"

#include <algorithm>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

namespace {

// Tells errors on standard error, and to programs on standard output as well.
class Errors {
 public:
   explicit Errors( std::span< char* const > words )
       : asJson_( std::ranges::any_of(
             words, []( std::string_view word ) { return word == "--json"; } ) ) {}

   int fail( Ufdd::ExitStatus status, std::string_view error ) const {
      std::cerr << "ufdctl: " << Ufdd::printable( error ) << '\n';
      return tell( static_cast< int >( status ), error );
   }
   int tell( int status, std::string_view error ) const {
      if ( asJson_ )
         std::cout << Ufdd::lineOf( Ufdd::failureJson( std::string( error ), status ) )
                   << std::flush;
      return status;
   }

 private:
   bool const asJson_;
};

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
   bool const completes = argc > 1 && std::string_view( argv[ 1 ] ) == "complete";
   Errors const errors( { argv, completes ? 0u : static_cast< unsigned int >( argc ) } );
   try {
      if ( completes ) {
         Ufdd::complete( line, sockets.status, { argv + 2, argv + argc } );
         Ufdd::requireOutput();
         return 0;
      }
      int const status = line.parse( argc, argv ).value_or( 0 );
      if ( !line.refusal().empty() )
         errors.tell( status, line.refusal() );
      Ufdd::requireOutput();
      return status;
   } catch ( Ufdd::Failure const& failure ) {
      return errors.fail( failure.status(), failure.what() );
   } catch ( Ufdd::Unreachable const& error ) {
      return errors.fail( Ufdd::ExitStatus::unreachable, error.what() );
   } catch ( std::exception const& error ) {
      return errors.fail( Ufdd::ExitStatus::failure, error.what() );
   }
}
