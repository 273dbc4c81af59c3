#include "agent/ctl/StatusCommands.h"

#include "agent/base/CommandLine.h"
#include "agent/base/Never.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Explanation.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/MetricsFile.h"
#include "agent/ctl/MetricsServer.h"
#include "agent/ctl/MetricsText.h"
#include "agent/ctl/ShowScreen.h"
#include "agent/ctl/Watcher.h"
#include "agent/ctl/WhatIf.h"
#include "agent/ctl/Words.h"
#include "agent/status/StatusStream.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <thread>

namespace Ufdd {

namespace {

using Received = StatusStream::Received;

constexpr std::chrono::milliseconds retryPause( 200 );

// A replica of ufdd's roots, and the connection that fills it.
struct Session {
   explicit Session( std::string const& socket ) : stream( socket, replica ) {}

   // Returns what ufdd does at present.
   View view() const { return { replica.roots(), Moment::now() }; }
   // Waits until ufdd serves the socket again. Returns false if it does not before that time.
   bool reconnect( double deadline ) {
      do
         if ( Zet::now() >= deadline )
            return false;
         else
            std::this_thread::sleep_for( retryPause );
      while ( stream.connect() || !stream.isServed() );
      return true;
   }

   StatusReplica replica;
   StatusStream stream;
};

struct ShowOptions {
   std::string group;
   bool isBrief = false;
   bool wantsPorts = false;
   bool wantsLinks = false;
   bool wantsChecks = false;
   bool wantsAgent = false;
   bool asJson = false;
   bool checksHealth = false;
};

ExitStatus
show( std::string const& socket, ShowOptions const& options ) {
   Session session( socket );
   session.stream.fill();
   View view = session.view();
   view.keepGroup( options.group );
   auto* const screen = options.wantsPorts    ? portsScreen
                        : options.wantsLinks  ? linksScreen
                        : options.wantsChecks ? checksScreen
                        : options.wantsAgent  ? agentScreen
                        : options.isBrief     ? briefScreen
                                              : groupsScreen;
   std::cout << ( options.asJson ? pageOf( json( view ) ) : screen( view, coloursOfOutput() ) );
   return options.checksHealth && !view.isHealthy() ? ExitStatus::unhealthy : ExitStatus::success;
}

struct ExplainOptions {
   std::string port;
   bool asJson = false;
};

ExitStatus
explain( std::string const& socket, ExplainOptions const& options ) {
   Session session( socket );
   session.stream.fill();
   View const view = session.view();
   Explanation const explanation( view, options.port );
   std::cout << ( options.asJson ? pageOf( explanation.json() )
                                 : explanation.text( coloursOfOutput() ) );
   return ExitStatus::success;
}

struct WhatIfOptions : WhatIf::Question {
   bool asJson = false;
   bool failsIfShut = false;
};

ExitStatus
askWhatIf( std::string const& socket, WhatIfOptions const& options ) {
   for ( std::string const& link : options.down )
      if ( std::ranges::find( options.up, link ) != options.up.end() )
         throw Failure( ExitStatus::usage, "--down and --up both name " + link );
   Session session( socket );
   session.stream.fill();
   View const view = session.view();
   WhatIf const answer( view, options );
   std::cout << ( options.asJson ? pageOf( answer.json() ) : answer.text( coloursOfOutput() ) );
   return options.failsIfShut && answer.shutsAny() ? ExitStatus::unhealthy : ExitStatus::success;
}

struct WatchOptions {
   std::string group;
   bool asJson = false;
};

ExitStatus
watch( std::string const& socket, WatchOptions const& options ) {
   Session session( socket );
   Watcher watcher( session.replica.roots(), options.group, std::cout,
                    { options.asJson, coloursOfOutput() } );
   session.stream.fill();
   watcher.showStates();
   for ( ;; ) {
      requireOutput();
      while ( session.stream.receive( never ) != Received::end ) {
         watcher.showChanges();
         requireOutput();
      }
      watcher.handleLoss( socket );
      session.reconnect( never );
      watcher.handleResync( socket );
   }
}

struct WaitOptions {
   std::string group;
   std::string status;
   double timeout = 0; // In seconds; 0 waits for ever.
   bool asJson = false;
};

void
printGroup( View view, std::string const& name ) {
   view.keepGroup( name );
   Json object = jsonOf( "wait", view.now );
   object.update( json( view.groups.front(), view.now ) );
   std::cout << pageOf( object );
}

ExitStatus
wait( std::string const& socket, WaitOptions const& options ) {
   double const deadline = options.timeout > 0 ? Zet::now() + options.timeout : never;
   Session session( socket );
   session.stream.fill();
   session.view().keepGroup( options.group );
   for ( ;; ) {
      auto const group = session.replica.status()->group( options.group );
      std::string const is = group ? stringValue( group->groupLinkStatus() ).c_str() : "not there";
      if ( is == options.status ) {
         if ( options.asJson )
            printGroup( session.view(), options.group );
         return ExitStatus::success;
      }
      if ( Zet::now() >= deadline )
         throw Failure( ExitStatus::failure, "group " + options.group + " is " + is + " after " +
                                                 delayText( options.timeout ) );
      if ( session.stream.receive( deadline - Zet::now() ) == Received::end &&
           !session.reconnect( deadline ) )
         throw Failure( ExitStatus::unreachable, "ufdd at " + socket + " was stopped" );
   }
}

struct MetricsOptions {
   std::string file;
   bool listens = false;
};

ExitStatus
printMetrics( std::string const& socket ) {
   Session session( socket );
   try {
      session.stream.fill();
   } catch ( Unreachable const& ) {
      std::cout << metricsTextWithoutUfdd();
      throw;
   }
   std::cout << metricsText( session.replica.roots() );
   return ExitStatus::success;
}

ExitStatus
tellMetrics( std::string const& socket, MetricsOptions const& options ) {
   if ( options.file.empty() && !options.listens )
      return printMetrics( socket );
   if ( !options.file.empty() && options.listens )
      throw Failure( ExitStatus::usage,
                     "--output and --listen can't be given both; run ufdctl twice" );
   Follower follower( socket );
   follower.begin();
   if ( !options.file.empty() )
      MetricsFile( follower, options.file ).keep();
   for ( MetricsServer server( follower, MetricsServer::passedSockets() );; )
      server.turn( never );
}

// Adds a command with its options. `run` gets the socket and the options.
template < class Options >
Command
add( CommandLine& line, std::string const& socket, std::string const& name, std::string const& help,
     std::shared_ptr< Options > const& options,
     ExitStatus ( *run )( std::string const&, Options const& ) ) {
   return line.command( name, help, [ &socket, options, run ] {
      return static_cast< int >( run( socket, *options ) );
   } );
}

void
addJson( Command& command, bool& asJson ) {
   command.flag( "--json", asJson, "Print JSON, for programs to read" );
}

void
addShow( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< ShowOptions >();
   Command command =
       add( line, socket, "show", "Prints what each group, uplink and port does (the default)",
            options, show );
   command.argument( "GROUP", options->group, "Only this group" );
   command.flag( "-1,--brief", options->isBrief, "Print a line for each group" );
   command.flag( "--ports", options->wantsPorts, "Print a table of the ports" );
   command.flag( "--links", options->wantsLinks, "Print a table of the uplinks and ports" );
   command.flag( "--checks", options->wantsChecks, "Print a table of the checks of uplinks" );
   command.flag( "--agent", options->wantsAgent, "Print what ufdd tells of itself" );
   addJson( command, options->asJson );
   command.flag( "--check-health", options->checksHealth, "End with 3 unless all is well" );
   command.footer( std::string( "Prints what is wrong or missing first. All is well if all uplinks "
                                "and groups\nare up, all checks pass, all ports are open, and the "
                                "configuration file is in\nforce.\n\n" ) +
                   exitStatusHelp );
   line.defaultCommand( "show" );
}

void
addExplain( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< ExplainOptions >();
   Command command =
       add( line, socket, "explain", "Prints why a port is as it is, and what would change that",
            options, explain );
   command.argument( "PORT", options->port, "A port that a group disables" ).required();
   addJson( command, options->asJson );
   command.footer( exitStatusHelp );
}

void
addWhatIf( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< WhatIfOptions >();
   Command command = add( line, socket, "what-if", "Prints what ufdd would do, and changes nothing",
                          options, askWhatIf );
   command.list( "--down", "LINK", options->down, "If these links went down" );
   command.list( "--up", "LINK", options->up, "If these links came up" );
   command.list( "--check", "CHECK=up|down", options->checks,
                 "If these checks counted as up or down" );
   command.option( "--config", "FILE", options->file, "If this configuration were in force" );
   addJson( command, options->asJson );
   command.flag( "--fail-if-shut", options->failsIfShut, "End with 3 if a port would be shut" );
   command.footer( std::string( "A port that would be shut may be an uplink of another group: its "
                                "link is taken to\nfollow.\n\n" ) +
                   exitStatusHelp );
}

void
addWatch( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< WatchOptions >();
   Command command = add( line, socket, "watch",
                          "Prints each change of a group or port as it happens", options, watch );
   command.argument( "GROUP", options->group, "Only this group and its ports" );
   addJson( command, options->asJson );
   command.footer( std::string( "Prints the status of each group and of each port that is not "
                                "open, then a line for\neach change, until it is interrupted. When "
                                "ufdd is restarted, it says so,\nconnects again and prints the "
                                "changes since. --json prints an object on each\nline. Its "
                                "\"event\" is state, transition, removed, lost or resync.\n\n" ) +
                   exitStatusHelp );
}

void
addWait( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< WaitOptions >();
   Command command =
       add( line, socket, "wait", "Waits until a group is up, or down", options, wait );
   command.argument( "GROUP", options->group, "The group" ).required();
   command.argument( "STATUS", options->status, "up or down" ).required().oneOf( { "up", "down" } );
   command.option( "--timeout", "S", options->timeout,
                   "End with 1 if it is not so after these seconds" );
   addJson( command, options->asJson );
   command.footer( exitStatusHelp );
}

void
addMetrics( CommandLine& line, std::string const& socket ) {
   auto const options = std::make_shared< MetricsOptions >();
   Command command = add( line, socket, "metrics",
                          "Prints what ufdd does as metrics for Prometheus", options, tellMetrics );
   command.option( "--output", "FILE", options->file,
                   "Keep them in this file, for a collector of text files" );
   command.flag( "--listen", options->listens, "Serve them on the socket that systemd passes" );
   command.footer( std::string( "Prints \"ufdd_up 0\" if ufdd can't be reached. --output and "
                                "--listen go on until they\nare interrupted; they connect again "
                                "when ufdd was restarted.\n\n" ) +
                   exitStatusHelp );
}

} // namespace

void
requireOutput() {
   if ( !std::cout.flush() )
      throw Failure( ExitStatus::failure, "can't write to standard output; see whether the disk is "
                                          "full or the reader has ended" );
}

void
addStatusCommands( CommandLine& line, std::string const& socket ) {
   addShow( line, socket );
   addExplain( line, socket );
   addWhatIf( line, socket );
   addWatch( line, socket );
   addWait( line, socket );
   addMetrics( line, socket );
}

} // namespace Ufdd
