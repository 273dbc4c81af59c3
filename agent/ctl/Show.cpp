#include "agent/ctl/Show.h"

#include "agent/base/CommandLine.h"
#include "agent/ctl/StatusReport.h"
#include "agent/ctl/StatusStream.h"
#include "agent/ctl/Watcher.h"
#include "agent/status/StatusReplica.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace Ufdd {

namespace {

constexpr int answerSeconds = 5;
constexpr std::chrono::milliseconds retryPause( 200 );

struct Options {
   std::string group;
   bool asJson = false;
};

bool
isSet( char const* variable ) {
   char const* const value = std::getenv( variable );
   return value && *value;
}

Colours
coloursOfOutput() {
   bool const hasColours =
       isatty( STDOUT_FILENO ) && isSet( "TERM" ) && std::getenv( "TERM" ) != std::string( "dumb" );
   return hasColours && !isSet( "NO_COLOR" ) ? Colours::terminal : Colours::none;
}

// Connects for the first time and reads until the replica is in step.
void
fill( StatusStream& stream, StatusReplica const& replica, std::string const& socket ) {
   if ( auto const hindrance = stream.connect() )
      throw std::runtime_error( *hindrance );
   while ( !replica.isInStep() )
      if ( !stream.receive( answerSeconds ) )
         throw std::runtime_error(
             "ufdd at " + socket + " closed the connection: " +
             ( replica.isGreeted() ? "it was stopped; try again once it runs"
                                   : "it was stopped, or serves as many clients as it can; see "
                                     "whether it runs, or end another ufdctl" ) );
}

void
show( std::string const& socket, Options const& options ) {
   StatusReplica replica;
   StatusStream stream( socket, replica );
   fill( stream, replica, socket );
   std::cout << ( options.asJson ? statusJson( *replica.status(), options.group, Moment::now() )
                                 : statusTable( *replica.status(), options.group, Moment::now(),
                                                coloursOfOutput() ) );
}

void
reconnect( StatusStream& stream ) {
   do
      std::this_thread::sleep_for( retryPause );
   while ( stream.connect() || !stream.isServed() );
}

[[noreturn]] void
watch( std::string const& socket, Options const& options ) {
   StatusReplica replica;
   StatusStream stream( socket, replica );
   Watcher watcher( replica.status(), options.group, std::cout,
                    { options.asJson, coloursOfOutput() } );
   fill( stream, replica, socket );
   watcher.showStates();
   for ( ;; ) {
      do
         requireOutput();
      while ( stream.receive( 0 ) );
      watcher.handleLoss( socket );
      reconnect( stream );
      watcher.handleResync( socket );
   }
}

void
add( CommandLine& line, std::string const& socket, std::string const& name, std::string const& help,
     std::string const& footer, void ( *run )( std::string const&, Options const& ) ) {
   auto const options = std::make_shared< Options >();
   Command command =
       line.command( name, help, [ &socket, options, run ] { run( socket, *options ); } );
   command.argument( "GROUP", options->group, "Only this group" );
   command.flag( "--json", options->asJson, "Print JSON, for programs to read" );
   command.footer( footer );
}

} // namespace

void
requireOutput() {
   if ( !std::cout.flush() )
      throw std::runtime_error( "can't write to standard output; see whether the disk is full or "
                                "the reader has ended" );
}

void
addShow( CommandLine& line, std::string const& socket ) {
   add( line, socket, "show", "Prints the status of each group",
        "Prints for each group its link status, the number of times it went down since\n"
        "ufdd was started, and the last of these times. It counts, too, when a delay or\n"
        "dry_run kept the group's ports open. It does not count when the group is down\n"
        "from the beginning.\n\n"
        "--json prints an object with the list \"groups\". Its times are in UTC, or null\n"
        "if the group never went down.\n\n"
        "Exit status: 0 if the status was printed; 1 if ufdd can't be reached or has no\n"
        "such group; 64 if the command line is wrong.",
        show );
}

void
addWatch( CommandLine& line, std::string const& socket ) {
   add( line, socket, "watch", "Prints each transition of a group as it happens",
        "Prints the status of each group, then a line for each transition and for each\n"
        "group that is removed, until it is interrupted. When ufdd is restarted, it says\n"
        "so, connects again and prints the changes since.\n\n"
        "--json prints an object on each line. Its \"event\" is state, transition, removed,\n"
        "lost or resync.\n\n"
        "Exit status: 1 if ufdd can't be reached at first or has no such group; 64 if the\n"
        "command line is wrong.",
        watch );
}

} // namespace Ufdd
