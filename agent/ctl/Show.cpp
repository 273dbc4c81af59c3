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
             ( replica.isGreeted() ? "it was stopped meanwhile; try again"
                                   : "it ended, or serves no more clients at once; see whether "
                                     "it runs, or end another ufdctl" ) );
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
   command.flag( "--json", options->asJson, "For programs to read" );
   command.footer( footer );
}

} // namespace

// A reader who has gone ends the process.
void
requireOutput() {
   if ( !std::cout.flush() )
      throw std::runtime_error( "the output can't be written" );
}

void
addShow( CommandLine& line, std::string const& socket ) {
   add( line, socket, "show", "Prints how the groups of ufdd are",
        "Prints for each group its link status, how many times it went down since ufdd\n"
        "was started, also where a delay or dry_run kept its ports open, and when last.\n"
        "A group that is down from the beginning has not gone down. With --json an\n"
        "object with the list \"groups\", the times in UTC; null where a group never\n"
        "went down.\n\n"
        "Exit status: 0; 1 when ufdd can't be reached or has no such group; 64 when the\n"
        "command line is wrong.",
        show );
}

void
addWatch( CommandLine& line, std::string const& socket ) {
   add( line, socket, "watch", "Prints each transition of a group as it happens",
        "Prints how the groups are, then a line for each transition and for each group\n"
        "that is removed, until it is interrupted. When ufdd is restarted it says so,\n"
        "connects again and prints what has changed meanwhile. With --json an object a\n"
        "line, whose \"event\" is state, transition, removed, lost or resync.\n\n"
        "Exit status: 1 when ufdd can't be reached in the beginning or has no such group;\n"
        "64 when the command line is wrong.",
        watch );
}

} // namespace Ufdd
