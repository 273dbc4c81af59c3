#include "agent/ConfigFile.h"
#include "agent/Daemon.h"
#include "agent/Log.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <sysexits.h>
#include <unistd.h>

namespace {

using Ufdd::ConfigFile;

// Whether standard error is the journal, which knows the time of a line by itself.
bool
logGoesToJournal() {
   char const* const journal = std::getenv( "JOURNAL_STREAM" );
   struct stat file {};
   if ( !journal || fstat( STDERR_FILENO, &file ) < 0 )
      return false;
   return std::to_string( file.st_dev ) + ':' + std::to_string( file.st_ino ) == journal;
}

void
printErrors( ConfigFile const& config ) {
   for ( std::string const& error : config.errors )
      std::cerr << error << '\n';
}

int
check( std::string const& file ) {
   ConfigFile const config = Ufdd::readConfig( file );
   printErrors( config );
   if ( !config.errors.empty() )
      return EX_CONFIG;
   std::cout << file << ": OK, " << config.groups.size()
             << ( config.groups.size() == 1 ? " group\n" : " groups\n" );
   return EXIT_SUCCESS;
}

int
run( std::string const& file, Ufdd::DaemonOptions const& options ) {
   ConfigFile const config = Ufdd::readConfig( file );
   if ( !config.errors.empty() ) {
      printErrors( config );
      std::cerr << "ufdd: not started, no port was touched: the configuration is wrong\n";
      return EX_CONFIG;
   }
   Ufdd::StreamLog log( STDERR_FILENO, !logGoesToJournal() );
   bool released = false;
   try {
      released = Ufdd::Daemon( options, log ).run( config );
   } catch ( std::exception const& error ) {
      log.line( std::string( "ufdd: " ) + error.what() );
   }
   log.flush();
   return released ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int
main( int argc, char** argv ) {
   // A log that nobody reads any more is no reason to stop.
   std::signal( SIGPIPE, SIG_IGN );

   CLI::App app( "Shuts downstream ports while too few uplinks are up.", "ufdd" );
   std::string configFile;
   std::string checkedFile;
   app.set_version_flag( "--version", "ufdd " UFDD_VERSION );
   auto* const ways = app.add_option_group( "ways to run" );
   ways->add_option( "--config", configFile, "Run with the groups configured in this file" )
       ->type_name( "FILE" );
   ways->add_option( "--check", checkedFile, "Only tell whether this configuration is right" )
       ->type_name( "FILE" );
   ways->require_option( 1 );
   Ufdd::DaemonOptions options;
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
   app.footer( "Exit status: 0 when stopped by a signal with every port released, or\n"
               "when the configuration is right; 78 when the configuration is wrong; 64 when\n"
               "the command line is; 1 for anything else, with a line that says what." );
   try {
      app.parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      return app.exit( error ) == EXIT_SUCCESS ? EXIT_SUCCESS : EX_USAGE;
   }
   return checkedFile.empty() ? run( configFile, options ) : check( checkedFile );
}
