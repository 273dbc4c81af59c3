#include "agent/Daemon.h"
#include "agent/base/CommandLine.h"
#include "agent/base/JournalLog.h"
#include "agent/base/Log.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/config/ConfigFile.h"

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

   Ufdd::CommandLine line( "ufdd", UFDD_VERSION,
                           "Shuts downstream ports while too few uplinks are up." );
   Ufdd::DaemonOptions options;
   std::string checkedFile;
   bool isToRelease = false;
   line.option( "--config", "FILE", options.configFile,
                "Run with the groups configured in this file" );
   line.option( "--check", "FILE", checkedFile, "Only tell whether this configuration is right" );
   line.flag( "--release", isToRelease,
              "Only open the ports that a ufdd left shut, because it was killed or\n"
              "made room, and none is to follow; with --config also those that it\n"
              "doesn't remember, but that have the protodown_reason of that file" );
   line.option( "--state-dir", "DIR", options.stateDirectory,
                "Where to remember which ports are shut, so that the next ufdd opens\n"
                "them if this one is killed" );
   line.option( "--receive-buffer", "BYTES", options.receiveBuffer, 1 << 30,
                "The bytes of news of links that may wait, before all links have to be\n"
                "read again" );
   line.option( "--socket", "PATH", options.socket,
                "Where to serve the status, for ufdctl to read" );
   line.footer( "One of --config, --check and --release is needed.\n"
                "Signals: SIGHUP reads the configuration again; SIGUSR2 writes the status of the\n"
                "groups to the log; SIGTERM stops and opens every port; SIGUSR1 stops and leaves\n"
                "the ports as they are, for the next ufdd.\n"
                "Exit status: 0 when stopped by a signal, or done with --release, with every\n"
                "port open that was to be opened, or when the configuration is right; 78 when\n"
                "the configuration is wrong; 64 when the command line is; 1 for anything else,\n"
                "with a line that says what." );
   if ( auto const status = line.parse( argc, argv ) )
      return *status;
   bool const isToRun = !options.configFile.empty();
   bool const isToCheck = !checkedFile.empty();
   if ( !isToRun && !isToCheck && !isToRelease )
      return line.refuse( "one of --config FILE, --check FILE and --release is needed" );
   if ( isToCheck && ( isToRun || isToRelease ) )
      return line.refuse( "--check FILE can't be combined with --config or --release" );
   if ( isToRelease )
      // A ufdd that is still ending may have what is to be opened.
      return withDaemon( options, releaseTries,
                         []( Ufdd::Daemon& daemon ) { return daemon.release(); } );
   return isToCheck ? check( checkedFile ) : run( options );
}
