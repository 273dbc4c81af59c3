#include "agent/Check.h"
#include "agent/Configurator.h"
#include "agent/Daemon.h"
#include "agent/base/CommandLine.h"
#include "agent/base/JournalLog.h"
#include "agent/base/Log.h"
#include "agent/base/Printable.h"
#include "agent/base/StandardDescriptors.h"
#include "agent/control/ControlServer.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <sysexits.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int releaseTries = 25;

// Keeps signals pending until the daemon handles them. A signal that ended the process before that
// would leave shut what a former ufdd had shut.
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
      std::cerr << Ufdd::printable( finding ) << '\n';
}

// Makes a daemon and calls action( daemon ), which returns true if all went well. After an
// exception it tries again, with a new daemon, `tries` times in all. Returns the exit status.
template < class Action >
int
withDaemon( Ufdd::DaemonOptions const& options, int tries, Action action ) {
   auto const log = newLog();
   bool isDone = false;
   while ( tries-- > 0 ) {
      try {
         Ufdd::Daemon daemon( options, *log );
         isDone = action( daemon );
         break;
      } catch ( std::exception const& error ) {
         if ( tries == 0 )
            log->event( { .id = Ufdd::LogEvent::fault }, std::string( "ufdd: " ) + error.what() );
         else
            std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
      }
   }
   log->flush();
   return isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}

int
run( Ufdd::DaemonOptions const& options ) {
   holdSignals();
   Ufdd::FirstConfig const first = Ufdd::firstConfig( options.configFile, options.stateDirectory );
   if ( !first.config.errors.empty() ) {
      print( first.config.errors );
      std::cerr << "ufdd: not started, because of the errors above; no port was touched\n";
      return EX_CONFIG;
   }
   return withDaemon( options, 1, [ & ]( Ufdd::Daemon& daemon ) { return daemon.run( first ); } );
}

} // namespace

int
main( int argc, char** argv ) {
   Ufdd::fillStandardDescriptors( O_RDWR );
   // ufdd goes on if the reader of its log ends.
   std::signal( SIGPIPE, SIG_IGN );

   Ufdd::CommandLine line( "ufdd", UFDD_VERSION,
                           "Shuts downstream ports while too few uplinks are up." );
   Ufdd::DaemonOptions options;
   options.version = UFDD_VERSION;
   options.revision = UFDD_REVISION;
   Ufdd::CheckOptions checked;
   std::string adminGroup, reportGroup;
   bool isToRelease = false;
   line.option( "--config", "FILE", options.configFile, "Run with the groups of this file" );
   line.option( "--check", "FILE", checked.configFile,
                "Only check this configuration file, and say what ufdd would do with\n"
                "it now. Changes nothing" );
   line.flag( "--strict", checked.isStrict, "With --check: fail on warnings as well, with 78" );
   line.flag( "--release", isToRelease,
              "Only open the ports that a former ufdd left shut, when no other ufdd\n"
              "is to take them over. Opens the ports in the record; with --config,\n"
              "also those that have the protodown_reason of that file" );
   line.option( "--state-dir", "DIR", options.stateDirectory,
                "Keep here what the next ufdd must know, such as the ports that are shut.\n"
                "If ufdd is killed, the next one takes them over" );
   line.option( "--receive-buffer", "BYTES", options.receiveBuffer, 1 << 30,
                "Room for link messages from the kernel. When it overflows, ufdd reads\n"
                "all links again" );
   line.option( "--socket", "PATH", options.socket, "Serve the status for ufdctl here" );
   line.option( "--control-socket", "PATH", options.controlSocket,
                "Take the requests of ufdctl here; \"control\" beside the status socket if\n"
                "this is not given" );
   line.option( "--admin-group", "GROUP", adminGroup,
                "Let the members of this group steer ufdd; else only root may" );
   line.option( "--report-group", "GROUP", reportGroup,
                "Let the members of this group report what checks have found, and do\n"
                "nothing else" );
   line.footer(
       "One of --config, --check and --release is needed.\n\n"
       "Signals: SIGHUP reads the configuration again. SIGUSR2 writes the status of the\n"
       "groups to the log. SIGTERM stops ufdd and opens every port that it shut, unless\n"
       "systemd is shutting the host down. SIGUSR1 stops ufdd and leaves the ports as they\n"
       "are, for the next ufdd.\n\n"
       "Exit status: 0 if a signal stopped ufdd and every port was opened that had to\n"
       "be, if --release opened every port, or if --check found no error; 78 if the\n"
       "configuration has errors; 64 if the command line is wrong; 1 for anything else,\n"
       "with a line that says why." );
   if ( auto const status = line.parse( argc, argv ) )
      return *status;
   bool const isToRun = !options.configFile.empty();
   bool const isToCheck = !checked.configFile.empty();
   checked.stateDirectory = options.stateDirectory;
   if ( !isToRun && !isToCheck && !isToRelease )
      return line.refuse( "one of --config FILE, --check FILE and --release is needed" );
   if ( isToCheck && ( isToRun || isToRelease ) )
      return line.refuse( "--check FILE can't be combined with --config or --release" );
   if ( checked.isStrict && !isToCheck )
      return line.refuse( "--strict is for --check FILE" );
   if ( isToRun )
      try {
         if ( !adminGroup.empty() )
            options.admins = Ufdd::adminGroup( adminGroup );
         if ( !reportGroup.empty() )
            options.reporters = Ufdd::adminGroup( reportGroup );
      } catch ( std::runtime_error const& error ) {
         print( { std::string( "ufdd: " ) + error.what() } );
         return EXIT_FAILURE;
      }
   if ( isToRelease )
      // Several tries, since a former ufdd that is still ending locks the record.
      return withDaemon( options, releaseTries,
                         []( Ufdd::Daemon& daemon ) { return daemon.release(); } );
   return isToCheck ? Ufdd::check( checked ) : run( options );
}
