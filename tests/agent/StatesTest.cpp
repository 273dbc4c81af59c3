#include "agent/ctl/Explanation.h"
#include "agent/ctl/ShowScreen.h"
#include "agent/ctl/Words.h"
#include "tests/agent/AgentTest.h"
#include "tests/agent/TextMatchers.h"

#include <linux/if.h>

#include <map>
#include <set>
#include <string>

namespace Ufdd {
namespace {

// Collects the states that ufdctl is shown, and checks that it tells each with its own words.
class StatesShown {
 public:
   void look( StatusRoots const& roots ) {
      View const view( roots, { .steady = simulatedNow, .wall = 1e9 } );
      std::string const screen = groupsScreen( view, Colours::none );
      for ( View::Port const& port : view.ports ) {
         std::string const name( port->zetName().view() );
         add( port->condition() );
         // Many ports that are open are only counted.
         EXPECT_TRUE( severityOf( *port ) == Severity::good ||
                      screen.find( name + "  " + portText( *port ) ) != std::string::npos )
             << screen;
         Explanation const explanation( view, name );
         auto const words = explained.find( port->condition() );
         ASSERT_NE( words, explained.end() ) << screen;
         std::string const text = explanation.text( Colours::none );
         EXPECT_THAT( text, HasSubstr( name + ": " + words->second ) );
         EXPECT_EQ( explanation.json()[ "port" ][ "condition" ], wordOf( port->condition() ) );
      }
      for ( View::Link const& link : view.links ) {
         add( link->condition() );
         EXPECT_EQ( json( *link, view.now )[ "condition" ], wordOf( link->condition() ) );
      }
      for ( View::Group const& group : view.groups ) {
         add( group.state->mode() );
         add( group.state->wait() );
         Json const object = json( group, view.now );
         EXPECT_EQ( object[ "mode" ], wordOf( group.state->mode() ) );
         EXPECT_EQ( object[ "wait" ], wordOf( group.state->wait() ) );
         for ( std::string const& words :
               { modeText( *group.state, view.now ), waitText( *group.state, view.now ) } )
            EXPECT_THAT( screen, HasSubstr( words.substr( 0, words.find( ':' ) ) ) );
      }
   }
   // Returns the values of E that were not shown.
   template < class E > std::string missing() const {
      std::string names;
      for ( char const* const word : Notify::Description< E >::enumerators )
         if ( !seen_.contains( std::string( Notify::Description< E >::name ) + ' ' + word ) )
            names += std::string( word ) + ';';
      return names;
   }

 private:
   template < class E > static std::string wordOf( E value ) {
      return Notify::textOf( value ).c_str();
   }
   template < class E > void add( E value ) {
      seen_.insert( std::string( Notify::Description< E >::name ) + ' ' + wordOf( value ) );
   }

   std::map< PortCondition, std::string > const explained{
      { PortCondition::open, "open since" },
      { PortCondition::opening, "shut by ufdd, and about to be opened" },
      { PortCondition::shut, "shut by ufdd since" },
      { PortCondition::foreign, "administratively down, and not by ufdd" },
      { PortCondition::shutting, "about to be shut by ufdd" },
      { PortCondition::failed, "still open (ufdd can't shut it)" },
      { PortCondition::absent, "absent: there is no such interface" },
      { PortCondition::overridden, "opened by hand or cleared, and left open" },
      { PortCondition::isProtected, "open (the configuration protects it)" },
      { PortCondition::defaultRoute, "open (it carries the default route)" },
      { PortCondition::ordered, "shut by ufdd, as an operator ordered" },
      { PortCondition::latched, "shut by ufdd, until an operator clears it" },
      { PortCondition::dryRun, "open (only groups in dry run would" },
   };
   std::set< std::string > seen_;
};

TEST_F( AgentTest, showsEveryStateThatItReaches ) {
   StatesShown shown;
   auto const look = [ & ] { shown.look( agent->roots() ); };
   for ( char const* const name : { "d3", "d4", "d5", "d6", "d7", "d8", "d9", "d10", "u3" } )
      kernel.add( name );
   routes.routeIs( Prefix{}, kernel.index( "d4" ) );
   kernel.link( "u3" ).isDormant = true;
   kernel.update( "u3" );
   kernel.operState( "u3", IF_OPER_DORMANT );
   GroupPolicy delays{ .recoveryDelay = 2, .downDelay = 1, .releaseTimeout = 3 };
   delays.releaseWhen = { { Prefix::read( "10.0.0.0/8" ) } };
   groups = { group( "g", { "u1", "u2" }, { "d1", "d2", "d3", "d4", "d5", "d6", "d7" } ),
              group( "dry", { "u3" }, { "d8" } ),
              group( "mistyped", { "uplnk" }, {} ),
              group( "off", { "u3" }, {} ),
              group( "forced", { "u3" }, { "d9" } ),
              group( "latching", { "u1", "u2" }, { "d10" } ) };
   groups[ 0 ].policy = delays;
   groups[ 1 ].policy.dryRun = true;
   groups[ 3 ].policy.enabled = false;
   groups[ 4 ].policy.forceDown = true;
   groups[ 5 ].policy.autoRecover = false;
   ConfigFile file = config();
   file.protect = { "d3" };
   file.startupHold = 5;
   kernel.carrier( "u1", false );
   kernel.carrier( "u2", false );
   agent->start( file );
   runTurns();
   look(); // In startup_hold.
   kernel.set( "d1", false );
   kernel.link( "d2" ).refusal = EPERM;
   kernel.remove( "d5" );
   pass( 5 );
   for ( std::size_t i = 0; i <= PortActs::maxReopenings; ++i ) {
      kernel.set( "d6", true );
      runTurns();
   }
   look(); // Shut, as far as that can be.
   uplinksAre( true );
   look(); // In recovery_delay.
   pass( 2.5 );
   look(); // Routes are missing.
   pass( 3 );
   kernel.link( "d2" ).refusal = 0;
   uplinksAre( false );
   look(); // In down_delay.
   bool isGone = false;
   kernel.meanwhile = [ & ] {
      if ( !std::exchange( isGone, true ) )
         kernel.remove( "d7" );
   };
   simulatedNow += 1;
   agent->endTurn();
   look(); // The kernel has not told yet that a port is gone.
   kernel.meanwhile = [] {};
   runTurns();
   // The next ufdd finds ports to be opened, and does not know the routes yet.
   uplinksAre( true );
   routes.isBeingRead = true;
   groups[ 0 ].policy = GroupPolicy{ .recoveryDelay = 0 };
   CheckSettings& check = checks.emplace_back();
   check.name = "a";
   check.uplinks = { Kelnet::IntfId( "u2" ) };
   check.startsUp = false;
   restart();
   look();
   EXPECT_EQ( shown.missing< PortCondition >(), "" );
   EXPECT_EQ( shown.missing< LinkCondition >(), "" );
   EXPECT_EQ( shown.missing< GroupMode >(), "" );
   EXPECT_EQ( shown.missing< WaitReason >(), "" );
}

} // namespace
} // namespace Ufdd
