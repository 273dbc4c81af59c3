// ufdctl: shows what the detection library and a running ufdd have to tell.

#include "agent/base/StandardDescriptors.h"
#include "agent/ctl/Describe.h"
#include "agent/ctl/Show.h"
#include "agent/status/StatusServer.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <sysexits.h>

int
main( int argc, char** argv ) {
   // Not to be written to: that there is no output is an error.
   Ufdd::fillStandardDescriptors( O_RDONLY );
   CLI::App app( "Shows what the uplink failure detection has to tell.", "ufdctl" );
   app.set_version_flag( "--version", "ufdctl " UFDD_VERSION );
   app.require_subcommand( 1 );
   std::string socket = Ufdd::StatusServer::usualSocket;
   app.add_option( "--socket", socket, "Where ufdd serves its status" )
       ->type_name( "PATH" )
       ->capture_default_str();
   Ufdd::addShow( app, socket );
   Ufdd::addWatch( app, socket );
   Ufdd::addDescribe( app );
   try {
      app.parse( argc, argv );
      Ufdd::requireOutput();
   } catch ( CLI::RequiredError const& error ) {
      // What was taken for a command is left over.
      auto const left = app.remaining();
      if ( left.empty() || left.front().starts_with( '-' ) )
         app.exit( error );
      else
         std::cerr << "ufdctl: there is no command \"" << left.front()
                   << "\"; \"ufdctl --help\" lists those that there are\n";
      return EX_USAGE;
   } catch ( CLI::ParseError const& error ) {
      return app.exit( error ) == EXIT_SUCCESS ? EXIT_SUCCESS : EX_USAGE;
   } catch ( std::exception const& error ) {
      std::cerr << "ufdctl: " << error.what() << '\n';
      return EXIT_FAILURE;
   }
   return EXIT_SUCCESS;
}
