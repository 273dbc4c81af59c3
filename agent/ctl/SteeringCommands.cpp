#include "agent/ctl/SteeringCommands.h"

#include "agent/base/CommandLine.h"
#include "agent/base/UnixSocket.h"
#include "agent/control/ControlSocket.h"
#include "agent/control/ControlText.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/WhatIf.h"
#include "agent/ctl/Words.h"
#include "agent/status/StatusStream.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace Ufdd {

namespace {

using Verb = ControlRequest::Verb;

// In seconds: how long ufdd may take to answer, and until its acts are seen in the status.
constexpr double patience = 3;

[[noreturn]] void
fail( ExitStatus status, std::string const& text ) {
   throw Failure( status, text );
}

Descriptor
connected( std::string const& path ) {
   Descriptor stream = unixStreamTo( path );
   if ( stream )
      return stream;
   int const error = errno;
   if ( error == EACCES )
      fail( ExitStatus::failure, "you may not steer ufdd: can't open " + path +
                                     "; run ufdctl as root, or as a member of the groups that own "
                                     "the socket and its directory" );
   fail( ExitStatus::unreachable, unreachableText( path, error, "--control-socket" ) );
}

std::string
pathOf( Sockets const& sockets ) {
   return sockets.control.empty() ? controlSocketBeside( sockets.status ) : sockets.control;
}

// Sends the text and returns all that comes back.
std::string
exchanged( std::string const& path, std::string const& text ) {
   Descriptor const stream = connected( path );
   // ufdd may refuse, and answer, before all is sent. Then the answer says why.
   send( stream.fd(), text.data(), text.size(), MSG_NOSIGNAL );
   std::string answer;
   std::array< char, 1 << 14 > bytes;
   double const end = Zet::now() + patience;
   while ( answer.size() <= replyLimit ) {
      pollfd watched{ .fd = stream.fd(), .events = POLLIN, .revents = 0 };
      int const milliseconds = static_cast< int >( std::max( end - Zet::now(), 0. ) * 1000 );
      if ( poll( &watched, 1, milliseconds ) == 0 )
         fail( ExitStatus::unreachable, "ufdd at " + path + " did not answer within " +
                                            delayText( patience ) + "; see whether it is stuck" );
      ssize_t const size = recv( stream.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
      if ( size == 0 || ( size < 0 && errno != EINTR && errno != EAGAIN ) )
         return answer;
      answer.append( bytes.data(), static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
   }
   return answer;
}

// Returns what ufdd has done, or would do.
// Throws: Failure if it has done nothing.
ControlReply
ask( std::string const& path, ControlRequest const& request ) {
   std::string text;
   try {
      text = textOf( request );
   } catch ( ControlTextError const& error ) {
      fail( ExitStatus::usage, error.what() );
   }
   ControlReply reply;
   try {
      reply = replyOf( exchanged( path, text ) );
   } catch ( ControlTextError const& error ) {
      fail( ExitStatus::failure,
            "can't read the answer of ufdd at " + path + ": " + error.what() +
                "; see whether it runs and was done, and use ufdd and ufdctl of the same version" );
   }
   switch ( reply.kind ) {
   case ControlReply::Kind::done:
      return reply;
   case ControlReply::Kind::unknown:
      fail( ExitStatus::unknownName, reply.text );
   case ControlReply::Kind::notAdmin:
      fail( ExitStatus::failure,
            ( request.verb == Verb::report ? "you may not report: " : "you may not steer ufdd: " ) +
                reply.text );
   default:
      fail( ExitStatus::failure, reply.text );
   }
}

// Returns true if the port is shut, or open, as far as ufdd can do something about it. `port` is
// null if ufdd does not tell of it.
bool
isAsOrdered( PortState const* port, bool toShut ) {
   if ( !port )
      return !toShut;
   switch ( port->condition() ) {
   case PortCondition::shut:
   case PortCondition::ordered:
   case PortCondition::latched:
   case PortCondition::foreign:
      return toShut;
   case PortCondition::opening:
   case PortCondition::shutting:
   case PortCondition::failed:
      return false;
   case PortCondition::absent:
      return true;
   default:
      return !toShut;
   }
}

// Follows the ports that a request moves, in a replica of ufdd's State.
class Moves {
 public:
   Moves( State const& state, ControlReply const& reply )
       : state_( state ), toShut_( reply.toShut ), toOpen_( reply.toOpen ) {}

   // Returns the first port that is not yet as it was ordered; empty if all are.
   std::string pending() const {
      for ( auto const* const names : { &toShut_, &toOpen_ } )
         for ( std::string const& name : *names )
            if ( !isAsOrdered( state_.port( name ).get(), names == &toShut_ ) )
               return name;
      return "";
   }
   std::string text( bool isDryRun ) const {
      Screen screen( coloursOfOutput() );
      std::vector< Line > rows;
      for ( auto const* const names : { &toShut_, &toOpen_ } )
         for ( std::string const& name : *names ) {
            auto const port = state_.port( name );
            bool const toShut = names == &toShut_;
            rows.push_back( { name, isDryRun         ? toShut ? "would be shut" : "would be opened"
                                    : toShut && port ? portText( *port )
                                                     : "opened" } );
         }
      if ( rows.empty() )
         screen.line( { { "No port moves." } } );
      screen.table( rows );
      return screen.text();
   }

 private:
   State const& state_;
   std::vector< std::string > const toShut_;
   std::vector< std::string > const toOpen_;
};

// Says that the port, which may be null, is not as it was ordered in time.
std::string
lateText( std::string const& name, PortState const* port ) {
   std::string const why = port ? std::string( port->failure().view() ) : "";
   return "port " + name + ( port ? " is " + portText( *port ) : " is not known any more" ) +
          " after " + delayText( patience ) + ( why.empty() ? "" : ": " + why ) +
          "; see: ufdctl explain " + name;
}

// Waits until the status shows every port as it was ordered.
void
awaitMoves( Moves const& moves, StatusStream& stream, State const& state ) {
   double const end = Zet::now() + patience;
   for ( std::string name = moves.pending(); !name.empty(); name = moves.pending() ) {
      bool const isOver = Zet::now() >= end;
      if ( !isOver && stream.receive( end - Zet::now() ) != StatusStream::Received::end )
         continue;
      fail( ExitStatus::failure, isOver ? lateText( name, state.port( name ).get() )
                                        : "ufdd was stopped before it moved port " + name );
   }
}

struct SteerOptions : ControlRequest {
   bool asJson = false;
};

std::vector< std::string >
namesOf( Json const& ports, char const* act ) {
   std::vector< std::string > names;
   for ( Json const& port : ports )
      if ( port[ "act" ] == act )
         names.push_back( port[ "port" ] );
   return names;
}

void
print( SteerOptions const& options, Moves const& moves, ControlReply const& reply ) {
   if ( options.asJson ) {
      Json object = jsonOf( std::string( wordOf( options.verb ) ), Moment::now() );
      object[ "dryRun" ] = options.isDryRun;
      object[ "text" ] = reply.text;
      object[ "shut" ] = reply.toShut;
      object[ "open" ] = reply.toOpen;
      std::cout << pageOf( object );
      return;
   }
   Screen screen( coloursOfOutput() );
   if ( !reply.text.empty() )
      screen.line( { { reply.text } }, 2 );
   if ( options.isDryRun )
      screen.line( { { "Nothing was changed." } } );
   if ( options.verb != Verb::confirm )
      std::cout << moves.text( options.isDryRun );
   std::cout << screen.text();
}

ExitStatus
steer( Sockets const& sockets, SteerOptions const& options ) {
   StatusReplica replica;
   StatusStream stream( sockets.status, replica );
   stream.fill();
   ControlReply reply = ask( pathOf( sockets ), options );
   State const& state = *replica.state();
   // ufdd has read the file, and found no error. The ports are worked out here.
   if ( options.verb == Verb::reload && options.isDryRun ) {
      View const view( replica.roots(), Moment::now() );
      WhatIf const answer( view, { .down = {},
                                   .up = {},
                                   .checks = {},
                                   .file = std::string( state.configFile().view() ) } );
      if ( !options.asJson ) {
         std::cout << answer.text( coloursOfOutput() );
         return ExitStatus::success;
      }
      Json const ports = answer.json()[ "ports" ];
      reply.toShut = namesOf( ports, "shut" );
      reply.toOpen = namesOf( ports, "open" );
   }
   Moves const moves( state, reply );
   if ( !options.isDryRun )
      awaitMoves( moves, stream, state );
   print( options, moves, reply );
   return ExitStatus::success;
}

struct ReportOptions {
   std::string check;
   std::string result;
   std::string reason;
};

ExitStatus
report( Sockets const& sockets, ReportOptions const& options ) {
   using Word = ControlRequest::Report::Word;
   ControlRequest request;
   request.verb = Verb::report;
   request.reports.push_back( { options.check,
                                options.result == "up"     ? Word::up
                                : options.result == "down" ? Word::down
                                                           : Word::unknown,
                                options.reason } );
   ask( pathOf( sockets ), request );
   return ExitStatus::success;
}

void
addReport( CommandLine& line, Sockets const& sockets ) {
   auto const options = std::make_shared< ReportOptions >();
   Command command = line.command(
       std::string( wordOf( Verb::report ) ), "Reports what a check has found",
       [ &sockets, options ] { return static_cast< int >( report( sockets, *options ) ); } );
   command.argument( "CHECK", options->check, "The name of the check" ).required();
   command.argument( "RESULT", options->result, "up, down or unknown" )
       .required()
       .oneOf( { "up", "down", "unknown" } );
   command.option( "--reason", "TEXT", options->reason, "Why, to be shown with it" );
   command.footer( exitStatusHelp );
}

} // namespace

void
addSteeringCommands( CommandLine& line, Sockets const& sockets ) {
   auto const add = [ & ]( Verb verb, std::string const& purpose, char const* targets,
                           char const* targetHelp, auto addMore ) {
      auto const options = std::make_shared< SteerOptions >();
      options->verb = verb;
      Command command =
          line.command( std::string( wordOf( verb ) ), purpose, [ &sockets, options ] {
             return static_cast< int >( steer( sockets, *options ) );
          } );
      if ( targets )
         command.arguments( targets, options->targets, targetHelp ).required();
      addMore( command, *options );
      command.flag( "--dry-run", options->isDryRun, "Only list the ports that it would move" );
      command.flag( "--json", options->asJson, "Print a JSON object" );
      command.footer( exitStatusHelp );
   };
   auto const addNothing = []( Command&, SteerOptions& ) {};
   auto const addLasting = []( Command& command, SteerOptions& options ) {
      command.duration( "--for", options.holdFor,
                        "End it after this time: 90s, 15m, 2h or 1d. Else auto ends it" );
      command.option( "--reason", "TEXT", options.reason, "Why, to be shown with it" );
   };
   add( Verb::disable, "Lets groups shut no port, until auto", "GROUP", "The groups", addLasting );
   add( Verb::down, "Shuts groups or ports, until auto", "GROUP|PORT", "The groups and ports",
        [ & ]( Command& command, SteerOptions& options ) {
           addLasting( command, options );
           command.flag( "--force", options.isForced,
                         "Also shut a port that carries the default route" );
        } );
   add( Verb::automatic, "Lets groups or ports do what the configuration says", "GROUP|PORT",
        "The groups and ports", addNothing );
   add( Verb::clear, "Opens ports until the groups that shut them are up", "GROUP|PORT",
        "The ports, or the groups with all their ports", addNothing );
   add( Verb::reload, "Reads the configuration file again", nullptr, nullptr,
        []( Command& command, SteerOptions& options ) {
           command.duration( "--confirm", options.confirmWithin,
                             "Bring the former configuration back after this time, unless there\n"
                             "is a confirm" );
        } );
   add( Verb::confirm, "Keeps a configuration that was loaded by reload --confirm", nullptr,
        nullptr, addNothing );
   addReport( line, sockets );
}

} // namespace Ufdd
