#include "agent/Daemon.h"
#include "agent/base/JournalLog.h"
#include "agent/base/Log.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/config/ConfigFile.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <string>
#include <sysexits.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Ufdd::ConfigFile;

constexpr int releaseTries = 25;

// They wait until the daemon takes them: it may have to open what a former one left shut, and to
// end here would leave that as it is.
void
holdSignals() {
   sigset_t signals;
   sigemptyset( &signals );
   for ( int const number : { SIGTERM, SIGINT, SIGUSR1, SIGHUP, SIGUSR2 } )
      sigaddset( &signals, number );
   sigprocmask( SIG_BLOCK, &signals, nullptr );
}

std::unique_ptr< Ufdd::BufferedLog >
newLog() {
   if ( Ufdd::JournalLog::isWanted() )
      return std::make_unique< Ufdd::JournalLog >();
   return std::make_unique< Ufdd::StreamLog >( STDERR_FILENO, true );
}

void
print( std::vector< std::string > const& findings ) {
   for ( std::string const& finding : findings )
      std::cerr << finding << '\n';
}

int
check( std::string const& file ) {
   ConfigFile const config = Ufdd::readConfigOfThisMachine( file );
   print( config.errors );
   if ( !config.errors.empty() )
      return EX_CONFIG;
   print( config.warnings );
   std::cout << file << ": OK, " << config.groups.size()
             << ( config.groups.size() == 1 ? " group\n" : " groups\n" );
   return EXIT_SUCCESS;
}

// What `action` does with a daemon, which tells whether every port is open now. When there is an
// error, that is tried again; so often in all.
template < class Action >
int
withDaemon( Ufdd::DaemonOptions const& options, int tries, Action action ) {
   auto const log = newLog();
   bool released = false;
   while ( tries-- > 0 ) {
      try {
         Ufdd::Daemon daemon( options, *log );
         released = action( daemon );
         break;
      } catch ( std::exception const& error ) {
         if ( tries == 0 )
            log->event( { .id = Ufdd::LogEvent::fault }, std::string( "ufdd: " ) + error.what() );
         else
            std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
      }
   }
   log->flush();
   return released ? EXIT_SUCCESS : EXIT_FAILURE;
}

int
run( Ufdd::DaemonOptions const& options ) {
   holdSignals();
   ConfigFile const config = Ufdd::readConfigOfThisMachine( options.configFile );
   if ( !config.errors.empty() ) {
      print( config.errors );
      std::cerr << "ufdd: not started, no port was touched: the configuration is wrong\n";
      return EX_CONFIG;
   }
   return withDaemon( options, 1, [ & ]( Ufdd::Daemon& daemon ) { return daemon.run( config ); } );
}

} // namespace

int
main( int argc, char** argv ) {
   Ufdd::fillStandardDescriptors( O_RDWR );
   // A log that nobody reads any more is no reason to stop.
   std::signal( SIGPIPE, SIG_IGN );

   CLI::App app( "Shuts downstream ports while too few uplinks are up.", "ufdd" );
   Ufdd::DaemonOptions options;
   std::string checkedFile;
   bool isToRelease = false;
   app.set_version_flag( "--version", "ufdd " UFDD_VERSION );
   auto* const ways = app.add_option_group( "ways to run" );
   auto* const config = ways->add_option( "--config", options.configFile,
                                          "Run with the groups configured in this file" )
                            ->type_name( "FILE" );
   auto* const release =
       ways->add_flag( "--release", isToRelease,
                       "Only open the ports that a ufdd left shut, because it was killed or\n"
                       "made room, and none is to follow; with --config also those that it\n"
                       "doesn't remember, but that have the protodown_reason of that file" );
   ways->add_option( "--check", checkedFile, "Only tell whether this configuration is right" )
       ->type_name( "FILE" )
       ->excludes( config )
       ->excludes( release );
   ways->require_option( 1, 2 );
   app.add_option( "--state-dir", options.stateDirectory,
                   "Where to remember which ports are shut, so that the next ufdd opens\n"
                   "them if this one is killed" )
       ->type_name( "DIR" )
       ->capture_default_str();
   app.add_option( "--receive-buffer", options.receiveBuffer,
                   "The bytes of news of links that may wait, before all links have to be\n"
                   "read again" )
       ->type_name( "BYTES" )
       ->check( CLI::Range( 1, 1 << 30 ) )
       ->capture_default_str();
   app.add_option( "--socket", options.socket, "Where to serve the status, for ufdctl to read" )
       ->type_name( "PATH" )
       ->capture_default_str();
   app.footer( "Signals: SIGHUP reads the configuration again; SIGUSR2 writes the status of the\n"
               "groups to the log; SIGTERM stops and opens every port; SIGUSR1 stops and leaves\n"
               "the ports as they are, for the next ufdd.\n"
               "Exit status: 0 when stopped by a signal, or done with --release, with every\n"
               "port open that was to be opened, or when the configuration is right; 78 when\n"
               "the configuration is wrong; 64 when the command line is; 1 for anything else,\n"
               "with a line that says what." );
   try {
      app.parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      return app.exit( error ) == EXIT_SUCCESS ? EXIT_SUCCESS : EX_USAGE;
   }
   if ( isToRelease )
      // A ufdd that is still ending may have what is to be opened.
      return withDaemon( options, releaseTries,
                         []( Ufdd::Daemon& daemon ) { return daemon.release(); } );
   return checkedFile.empty() ? run( options ) : check( checkedFile );
}
