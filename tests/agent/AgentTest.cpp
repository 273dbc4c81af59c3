#include "tests/agent/AgentTest.h"

#include "tests/agent/TextMatchers.h"

#include <linux/if.h>

#include <algorithm>
#include <cerrno>

namespace Ufdd {
namespace {

TEST_F( AgentTest, neverShutsAProtectedLink ) {
   kernel.add( "bond0" );
   kernel.link( "bond0" ).isLag = true;
   kernel.join( "d2", "bond0" );
   kernel.update( "bond0" );
   ConfigFile file = config();
   file.protect = { "mgmt0", "safe" };
   agent->start( file );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   takeLines();
   kernel.link( "d1" ).altNames = { "mgmt0" };
   kernel.update( "d1" );
   kernel.rename( "bond0", "safe" );
   runTurns();
   runTurns();
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   EXPECT_THAT( takeLines(),
                StartsWith( "port d1 not shut: it is protected by the configuration, though group "
                            "g is down, 0/2 up, min_links 1; remove it from the group, or its name "
                            "from protect\nport d1 opened" ) );
   EXPECT_EQ( store.names(), "" );
   kernel.set( "d1", false );
   kernel.set( "d1", true );
   runTurns();
   EXPECT_EQ( takeActs() + takeLines(), "" );
   file.protect = { "safe" };
   agent->reload( file, "f" );
   EXPECT_EQ( takeActs(), " -d1" );
   // A protected link that is ours and can't be opened.
   takeLines();
   kernel.link( "d1" ).refusal = EBUSY;
   file.protect = { "mgmt0" };
   agent->reload( file, "f" );
   EXPECT_TRUE( agent->roots().state->protect( "mgmt0" ) );
   EXPECT_FALSE( agent->roots().state->protect( "safe" ) );
   EXPECT_THAT( takeLines(), HasSubstr( "port d1 can't be opened: Device or resource busy" ) );
   pass( 3 );
   EXPECT_EQ( takeLines(), "" );
   EXPECT_EQ( agent->roots().state->port( "d1" )->condition(), PortCondition::failed );
   kernel.link( "d1" ).refusal = 0;
   pass( 1 );
   EXPECT_EQ( takeActs(), " -d2 +d1" );
   EXPECT_EQ( agent->nextTime(), never );
}

TEST_F( AgentTest, saysWhatItDoesAndWhy ) {
   start();
   EXPECT_EQ( takeLines(), "group g: unknown -> up, 2/2 up, min_links 1: configured\n" );
   uplinkIs( "u1", false );
   EXPECT_EQ( takeActs() + takeLines(), "group g: 1/2 up, min_links 1: uplink u1 lost carrier\n" );
   EXPECT_THAT( agent->statusLines()[ 0 ],
                EndsWith( ", 1/2 up, needs 1: configured; uplinks: u1 no carrier, u2 up; ports: d1 "
                          "open, d2 open" ) );
   kernel.set( "u2", false );
   runTurns();
   EXPECT_EQ( takeLines(),
              "group g: up -> down, 0/2 up, min_links 1: uplink u2 administratively down\n"
              "port d1 shut: group g is down, 0/2 up, min_links 1\n"
              "port d2 shut: group g is down, 0/2 up, min_links 1\n" );
   uplinkIs( "u1", true );
   EXPECT_EQ( takeLines(), "group g: down -> up, 1/2 up, min_links 1: uplink u1 is up\n"
                           "port d1 opened: group g is up, 1/2 up, min_links 1\n"
                           "port d2 opened: group g is up, 1/2 up, min_links 1\n" );
   kernel.remove( "u1" );
   runTurns();
   EXPECT_THAT( takeLines(),
                StartsWith( "group g: up -> down, 0/2 up, min_links 1: uplink u1 removed\n" ) );
   EXPECT_EQ( takeActs(), " -d1 -d2 +d1 +d2 -d1 -d2" );
   EXPECT_TRUE( agent->openAll() );
   EXPECT_EQ( takeLines(), "port d1 opened: ufdd stops\nport d2 opened: ufdd stops\n" );
   EXPECT_TRUE( kernel.isUp( "d1" ) && kernel.isUp( "d2" ) );
}

TEST_F( AgentTest, leavesThePortOfTheDefaultRouteOpenWhileItCarriesThat ) {
   Prefix const everything{};
   groups.push_back( group( "h", { "u2" }, { "d1" } ) );
   groups.back().policy.allowDefaultRoute = true;
   routes.routeIs( everything, kernel.index( "d1" ) );
   start();
   uplinkIs( "u1", false );
   takeLines();
   // One of the two groups that disable the port allows it.
   groups[ 1 ].policy.dryRun = true;
   agent->reload( config(), "f" );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d2" );
   EXPECT_THAT(
       lines, HasSubstr( "port d1 not shut: it carries this machine's default route, though group "
                         "g is down, 0/2 up, min_links 1; it is shut when the route leaves it, or "
                         "with allow_default_route = true\n" ) );
   EXPECT_EQ( agent->summary(),
              "2 groups, 2 down; ports shut: 1; left open for the default route: d1" );
   EXPECT_EQ( agent->roots().state->port( "d1" )->condition(), PortCondition::defaultRoute );
   // Once renamed, it is no port any more.
   kernel.rename( "d1", "away" );
   runTurns();
   EXPECT_EQ( agent->summary(), "2 groups, 2 down; ports shut: 1" );
   kernel.rename( "away", "d1" );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   groups[ 1 ].policy.dryRun = false;
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " -d1" );
   uplinksAre( true );
   takeActs();
   groups.pop_back();
   agent->reload( config(), "f" );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d2" );
   // The route leaves the port, which is shut then. A shut port that gets the route stays shut.
   routes.routeIs( everything, kernel.index( "u1" ) );
   runTurns();
   EXPECT_EQ( takeActs(), " -d1" );
   routes.routeIs( everything, kernel.index( "d1" ) );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( agent->summary(), "1 group, 1 down; ports shut: 2" );
   // Somebody opens it, and needs the route.
   kernel.set( "d1", true );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( agent->summary(),
              "1 group, 1 down; ports shut: 1; left open for the default route: d1" );
}

// A daemon that starts may find its uplinks down, and the routes of a large table unread.
TEST_F( AgentTest, shutsNothingUntilTheRoutesAreRead ) {
   for ( bool const isInTime : { true, false } ) {
      kernel.carrier( "u1", false );
      kernel.carrier( "u2", false );
      routes.isBeingRead = true;
      restart();
      pass( 1.9 );
      EXPECT_EQ( takeActs(), "" );
      if ( isInTime )
         routes.routeIs( Prefix{}, kernel.index( "d1" ) );
      routes.isBeingRead = !isInTime;
      pass( isInTime ? 0 : 0.2 );
      EXPECT_EQ( takeActs(), isInTime ? " -d2" : " -d1 -d2" );
      routes.isBeingRead = false;
      routes.routeIs( Prefix{}, 0 );
      uplinksAre( true );
      takeActs();
   }
}

TEST_F( AgentTest, tellsWhatItKnowsAtTheEndOfTheTurn ) {
   start();
   State const& state = *agent->roots().state;
   auto const known = [ & ] {
      std::string text;
      for ( char const* const name : { "d1", "d2" } ) {
         auto const port = state.port( name );
         text += std::string( Notify::textOf( port->condition() ).view() ) + ' ' +
                 port->failure().c_str() + '@' + std::to_string( int( port->since() ) ) + ' ';
      }
      return text;
   };
   EXPECT_EQ( known(), "open @1000 open @1000 " );
   simulatedNow = 1010;
   kernel.link( "d2" ).refusal = EPERM;
   uplinksAre( false );
   EXPECT_EQ( known(), "shut @1010 failed can't be shut: Operation not permitted@1010 " );
   EXPECT_EQ( state.link( "u1" )->condition(), LinkCondition::noCarrier );
   auto const told = state.group( "g" );
   EXPECT_TRUE( told->isDown() && state.port( "d2" )->group( "g" ) );
   EXPECT_EQ( told->cause(), "uplink u2 lost carrier" );
   EXPECT_EQ( told->downTime(), 1010 );
   EXPECT_EQ( state.reactions( "0.0001" ), 1u );
   kernel.link( "d2" ).refusal = 0;
   pass( 1 );
   EXPECT_EQ( known(), "shut @1010 shut @1011 " );
   EXPECT_EQ( state.acts(), 2u );
   EXPECT_EQ( state.failedActs(), 1u );
   EXPECT_EQ( state.openActs() + state.failedOpenActs(), 0u );
   EXPECT_TRUE( state.isRecorded() && state.reactionSeconds() < 0.0001 );

   ConfigFile wrong = config();
   wrong.errors = { "f:1: wrong", "f:2: wrong" };
   agent->reload( wrong, "f" );
   EXPECT_EQ( state.refusal(), "f:1: wrong" );
   EXPECT_EQ( state.refusalTime(), 1011 );
   // A port that no group names any more is told of until it is open.
   kernel.link( "d2" ).refusal = EBUSY;
   ConfigFile other = config();
   other.groups = { group( "h", { "u1" }, { "d1" } ) };
   agent->reload( other, "f" );
   agent->endTurn();
   EXPECT_EQ( state.refusalTime(), 0 );
   EXPECT_FALSE( state.group( "g" ) || state.link( "u2" ) );
   EXPECT_EQ( known(), "shut @1010 failed can't be opened: Device or resource busy@1011 " );
   kernel.link( "d2" ).refusal = 0;
   pass( 1 );
   EXPECT_FALSE( state.port( "d2" ) );
}

TEST_F( AgentTest, opensPortsOnlyWhenTheirRoutesExist ) {
   Prefix const ten = *Prefix::read( "10.0.0.0/8" );
   groups[ 0 ].policy.releaseWhen = { {}, { ten } };
   groups[ 0 ].policy.releaseTimeout = 5;
   start();
   EXPECT_EQ( takeActs(), "" ) << "missing routes shut nothing";
   EXPECT_EQ( agent->roots().state->group( "g" )->releaseWhen(), "default-route, 10.0.0.0/8" );
   uplinksAre( false );
   routes.routeIs( ten, kernel.index( "u1" ) );
   routes.routeIs( Prefix{ .isV6 = true }, kernel.index( "d2" ) );
   takeLines();
   uplinksAre( true );
   // The default route leads over a port of the group, then over an uplink that is down.
   EXPECT_THAT( takeLines(),
                EndsWith( "group g: release_when: its ports are opened when these routes "
                          "exist, or in 5 s: default-route\n" ) );
   routes.routeIs( Prefix{ .isV6 = true }, kernel.index( "u2" ) );
   kernel.carrier( "u2", false );
   pass( 4 );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   uplinkIs( "u2", true );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   routes.routeIs( ten, 0 );
   runTurns();
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   uplinksAre( true );
   pass( 4.9 );
   EXPECT_EQ( takeActs(), "" );
   pass( 0.2 );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   EXPECT_THAT(
       lines,
       HasSubstr( "group g: release_timeout: its ports are opened, although there is no route "
                  "that release_when names: 10.0.0.0/8\n" ) );
}

// The source of routes may tell of an act much later.
TEST_F( AgentTest, putsBackWhatAPortHasLostWhateverItWasTold ) {
   LinkSetting const lost{ true, { std::byte{ 7 } } };
   auto const recorded = [ & ]( bool isOwed ) {
      return settings.all.size() == 1 && settings.all[ 0 ].isOwed == isOwed &&
             settings.all[ 0 ].settings == std::vector{ lost };
   };
   std::uint32_t const d1 = kernel.index( "d1" );
   routes.addStatic( d1, std::byte{ 7 } );
   start();
   pass( 1 );
   EXPECT_TRUE( recorded( false ) );
   settings.lose();
   agent->checkRecord();
   runTurns();
   pass( 1 );
   EXPECT_TRUE( recorded( false ) ) << "it was removed";
   uplinksAre( false );
   pass( 1 );
   EXPECT_TRUE( recorded( true ) ) << "before the source tells";
   restart();
   uplinksAre( true );
   EXPECT_EQ( routes.restored, std::vector{ lost } );
   pass( 1 );
   routes.addStatic( d1, std::byte{ 7 } );
   uplinksAre( false );
   uplinksAre( true );
   EXPECT_EQ( routes.restored.size(), 1u ) << "the kernel may still be dropping it";
   // Somebody had set it up just before it was shut.
   for ( bool const isUp : { true, false, true } )
      routes.tell( d1, isUp );
   runTurns();
   EXPECT_EQ( routes.restored.size(), 2u );
   pass( 1 );
   EXPECT_TRUE( settings.all.empty() ) << "put back, as far as the source has told";
}

TEST_F( AgentTest, putsBackAFewSettingsInATurn ) {
   for ( char const* const port : { "d1", "d2" } )
      for ( int i = 0; i < 6; ++i )
         routes.addStatic( kernel.index( port ), std::byte( i ) );
   start();
   pass( 1 );
   uplinksAre( false );
   restart();
   kernel.carrier( "u1", true );
   std::size_t most = 0;
   for ( int turn = 0; turn < 6; ++turn ) {
      std::size_t const before = routes.restored.size();
      kernel.deliver();
      agent->endTurn();
      most = std::max( most, routes.restored.size() - before );
      EXPECT_TRUE( most < 8 || routes.restored.size() == 12 || agent->nextTime() <= simulatedNow );
   }
   EXPECT_EQ( most, 8u );
   EXPECT_EQ( routes.restored.size(), 12u );
}

TEST_F( AgentTest, downDelayHidesShortFailures ) {
   groups[ 0 ].policy.downDelay = 2;
   start();
   takeLines();
   uplinksAre( false );
   auto const told = agent->roots().state->group( "g" );
   EXPECT_EQ( told->wait(), WaitReason::downDelay );
   EXPECT_EQ( told->waitTime(), 1002 );
   pass( 1.5 );
   uplinkIs( "u1", true );
   EXPECT_EQ( takeLines(),
              "group g: up -> down, 0/2 up, min_links 1: uplink u2 lost carrier\n"
              "group g: down_delay: its ports are shut in 2 s unless it is up again before\n"
              "group g: down -> up, 1/2 up, min_links 1: uplink u1 is up\n"
              "group g: was down for only 1.5 s, hidden by down_delay (1 so far)\n" );
   EXPECT_EQ( told->wait(), WaitReason::nothing );
   pass( 10 );
   uplinksAre( false );
   // Up and down again within a turn: the delay begins anew.
   pass( 1 );
   kernel.carrier( "u1", true );
   uplinksAre( false );
   pass( 1.9 );
   EXPECT_EQ( takeActs(), "" );
   uplinksAre( true );
   EXPECT_THAT( takeLines(), EndsWith( "hidden by down_delay (3 so far)\n" ) );
}

TEST_F( AgentTest, reloadNeitherEndsNorBeginsADelay ) {
   kernel.add( "d3" );
   kernel.add( "u3" );
   groups[ 0 ].policy.recoveryDelay = 10;
   groups.push_back( group( "always up", { "u3" }, { "d1" } ) );
   start();
   uplinksAre( false );
   uplinksAre( true );
   takeActs();
   // The group is up, but its recovery_delay has not passed. A new port stays open.
   groups[ 0 ].config->intfsToDisableIs( Kelnet::IntfId( "d3" ), true );
   agent->reload( config(), "f" );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d3" );
   uplinksAre( true );
   pass( 10 );
   EXPECT_EQ( takeActs(), " +d1 +d2 +d3" );

   // Others open a port while recovery_delay passes.
   uplinksAre( false );
   uplinksAre( true );
   takeLines();
   kernel.set( "d1", true );
   runTurns();
   EXPECT_EQ( takeLines(), "port d1 not shut: its uplinks are up again, though recovery_delay has "
                           "not passed: group g is up, 2/2 up, min_links 1\n" );
   pass( 10 );
   takeActs();

   // A group that is down gets another name.
   uplinksAre( false );
   takeActs();
   groups = { group( "h", { "u1", "u2" }, { "d1", "d2", "d3" } ) };
   groups[ 0 ].policy.downDelay = 3600;
   agent->reload( config(), "f" );
   pass( 4000 );
   EXPECT_EQ( takeActs(), "" );
   uplinksAre( true );
   EXPECT_EQ( takeActs(), " +d1 +d2 +d3" );
   uplinksAre( false );
   EXPECT_THAT( lines, HasSubstr( "down_delay: its ports are shut in 3600 s" ) );
}

TEST_F( AgentTest, fallenGroupIsUpAgainOnlyWithItsRecoverLinks ) {
   auto const upAre = [ & ]( unsigned int count ) {
      for ( unsigned int i = 1; i <= 4; ++i )
         kernel.carrier( "u" + std::to_string( i ), i <= count );
      runTurns();
      return takeActs();
   };
   kernel.add( "u3" );
   kernel.add( "u4" );
   groups = { group( "g", { "u1", "u2", "u3", "u4" }, { "d1", "d2" } ),
              group( "h", { "u1", "u2", "u3", "u4" }, { "d1" } ) };
   GroupSettings& g = groups[ 0 ];
   g.config->minLinksIs( 2 );
   g.policy.recoverLinks = 3;
   groups[ 1 ].policy.recoverLinks = 4;
   start();
   EXPECT_EQ( upAre( 2 ), "" );
   takeLines();
   EXPECT_EQ( upAre( 1 ), " -d1 -d2" );
   EXPECT_THAT(
       lines, HasSubstr( "group g: up -> down, 1/4 up, min_links 2, recover_links 3: uplink u2" ) );
   EXPECT_EQ( upAre( 2 ), "" );
   EXPECT_THAT( agent->statusLines()[ 0 ], HasSubstr( ", 2/4 up, needs 2, 3 until recovered, " ) );
   // A reload while the group is down. What the library counts by is no change.
   auto const reload = [ & ]( std::string const& difference ) {
      takeLines();
      agent->reload( config(), "f" );
      EXPECT_THAT( lines, HasSubstr( "added 0, " + difference ) );
      return takeActs() + upAre( 2 );
   };
   EXPECT_EQ( reload( "changed 0" ), "" );
   g.policy.recoverLinks = 4;
   EXPECT_EQ( reload( "changed 1" ), "" );
   EXPECT_EQ( upAre( 3 ), "" );
   EXPECT_EQ( upAre( 2 ), "" );
   g.policy.recoverLinks = 3;
   g.config->minLinksIs( 1 );
   EXPECT_EQ( reload( "changed 1" ), "" );
   g.config->minLinksIs( 2 );
   EXPECT_EQ( reload( "changed 1" ), "" );
   EXPECT_EQ( agent->roots().status->group( "g" )->numTimesDisabled(), 1u );
   // The next ufdd adopts the ports, with the number. Group h has not fallen: it holds nothing.
   restart();
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( agent->roots().state->group( "g" )->neededLinks(), 3u );
   EXPECT_EQ( agent->roots().state->group( "h" )->neededLinks(), 1u );
   EXPECT_EQ( upAre( 3 ), " +d1 +d2" );
   EXPECT_EQ( agent->roots().state->group( "g" )->neededLinks(), 2u );
   restart();
   EXPECT_EQ( upAre( 2 ), "" );
   // A fall that down_delay hides is none. The uplinks count for the whole recovery_delay.
   g.policy.downDelay = g.policy.recoveryDelay = 2;
   reload( "changed 1" );
   EXPECT_EQ( upAre( 1 ), "" );
   pass( 1 );
   EXPECT_EQ( upAre( 2 ), "" );
   pass( 5 );
   EXPECT_EQ( upAre( 1 ), "" );
   pass( 2 );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   EXPECT_EQ( upAre( 3 ), "" );
   pass( 1.9 );
   EXPECT_EQ( upAre( 2 ), "" );
   pass( 5 );
   EXPECT_EQ( upAre( 3 ), "" );
   pass( 2 );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   g.policy.dryRun = true;
   g.policy.downDelay = g.policy.recoveryDelay = 0;
   reload( "changed 1" );
   upAre( 1 );
   takeLines();
   EXPECT_EQ( upAre( 2 ), "" );
   EXPECT_EQ( lines.find( "dry_run" ), std::string::npos ) << lines;
   upAre( 3 );
   EXPECT_THAT( lines, HasSubstr( "group g: dry_run, else ports would be opened now: d1 d2\n" ) );
}

TEST_F( AgentTest, recoveryDelayGrowsWhileAGroupFallsAgain ) {
   groups[ 0 ].policy = GroupPolicy();
   start();
   // An uplink that flaps fast.
   for ( int i = 0; i < 200; ++i ) {
      uplinksAre( false );
      pass( 0.01 );
      uplinksAre( true );
      pass( 0.01 );
   }
   pass( 65 );
   EXPECT_EQ( takeActs(), " -d1 -d2 +d1 +d2" );
   // One that flaps slowly, and is down for a second each time.
   auto const secondsUntilOpened = [ this ] {
      uplinksAre( false );
      pass( 1 );
      uplinksAre( true );
      double const since = simulatedNow;
      takeActs();
      while ( kernel.acts.empty() )
         pass( 1 );
      return simulatedNow - since;
   };
   for ( int const expected : { 2, 4, 8, 16, 32, 60, 60 } )
      EXPECT_EQ( secondsUntilOpened(), expected );
   EXPECT_THAT( lines,
                HasSubstr( "recovery_delay, lengthened to 60 s: its ports are opened in 60 s" ) );
   pass( 61 );
   EXPECT_EQ( secondsUntilOpened(), 2 );
   // A reload that changes neither of the two keeps it.
   groups[ 0 ].policy.downDelay = 0.5;
   agent->reload( config(), "f" );
   EXPECT_EQ( secondsUntilOpened(), 4 );
   groups[ 0 ].policy.recoveryDelayMax = 1;
   agent->reload( config(), "f" );
   EXPECT_EQ( secondsUntilOpened(), 2 );
   EXPECT_EQ( secondsUntilOpened(), 2 ) << "recovery_delay is above its maximum";
}

// The kernel delays the message that an uplink is down: its own, or that of a group which shares
// the port.
TEST_F( AgentTest, uplinksAreQueriedBeforePortsAreOpened ) {
   groups = { group( "g", { "u1" }, { "d1" } ), group( "other", { "u2" }, { "d1", "d2" } ) };
   kernel.lossInterval = 1;
   start();
   auto const passKernel = [ this ]( double seconds ) {
      simulatedNow += seconds;
      kernel.handleTime();
      runTurns();
   };
   for ( char const* const uplink : { "u1", "u2" } ) {
      // The loss of the port's own carrier delays other messages as well.
      for ( int i = 0; i < 2; ++i )
         passKernel( 5 );
      kernel.carrier( "u1", false );
      passKernel( 0.1 );
      takeActs();
      kernel.carrier( "u1", true );
      simulatedNow += 0.1;
      kernel.handleTime();
      uplinkIs( uplink, false );
      EXPECT_EQ( takeActs(), uplink == std::string( "u1" ) ? "" : " -d2" );
      kernel.carrier( "u1", true );
   }
}

TEST_F( AgentTest, nameThatWasNeverThereShutsNothing ) {
   kernel.add( "uplink1" );
   groups = { group( "g", { "uplnk1", "u1" }, { "d1" } ) };
   groups[ 0 ].config->minLinksIs( 2 );
   start();
   EXPECT_EQ( takeActs(), "" );
   EXPECT_THAT( takeLines(),
                HasSubstr( "group g: its ports are left as they are: since the machine booted, "
                           "no interface was called uplnk1; did you mean uplink1 by uplnk1?\n" ) );
   EXPECT_EQ( agent->summary(),
              "1 group, 1 down; ports shut: 0; left alone for unproven uplinks: g" );
   EXPECT_THAT( agent->statusLines()[ 0 ], HasSubstr( "uplinks: u1 up, uplnk1 unproven" ) );
   // It is down even if the unproven uplink were up.
   uplinkIs( "u1", false );
   EXPECT_EQ( takeActs(), " -d1" );
   // Left alone, but shut: what a reload adds stays open.
   kernel.carrier( "u1", true );
   groups[ 0 ].config->intfsToDisableIs( Kelnet::IntfId( "d2" ), true );
   agent->reload( config(), "f" );
   restart();
   EXPECT_EQ( takeActs(), "" );
   // So does what somebody opens, until there is evidence again.
   kernel.set( "d1", true );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   uplinkIs( "u1", false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   uplinkIs( "u1", true );
   kernel.add( "uplnk1" );
   runTurns();
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   takeLines();
   // A reload may bring such a name, too.
   groups[ 0 ].config->intfsToMonitorIs( Kelnet::IntfId( "uplnk2" ), true );
   groups[ 0 ].config->minLinksIs( 3 );
   agent->reload( config(), "f" );
   runTurns();
   EXPECT_THAT( takeLines(), HasSubstr( "no interface was called uplnk2" ) );
}

TEST_F( AgentTest, startupHoldLastsUntilAGroupWasUp ) {
   startupHold = 10;
   groups = { group( "g", { "u1" }, { "d1" } ), group( "h", { "u2" }, { "d2" } ) };
   kernel.carrier( "u1", false );
   kernel.carrier( "u2", false );
   start();
   EXPECT_THAT(
       takeLines(),
       HasSubstr(
           "group g: startup_hold: its ports are left as they are until it is up, for 10 s" ) );
   pass( 3 );
   uplinkIs( "u1", true );
   uplinkIs( "u1", false );
   EXPECT_EQ( takeActs(), " -d1" );
   // A restart neither begins it anew nor ends it.
   restart();
   pass( 6.9 );
   EXPECT_EQ( takeActs(), "" );
   pass( 0.1 );
   EXPECT_EQ( takeActs(), " -d2" );
   startupHold = 3600;
   kernel.carrier( "u2", true );
   restart();
   kernel.carrier( "u2", false );
   restart();
   EXPECT_EQ( takeActs(), " +d2 -d2" );
}

TEST_F( AgentTest, portsThatDoNotExistAreTold ) {
   kernel.remove( "d2" );
   start();
   for ( int i = 0; i < 2; ++i ) {
      takeLines();
      uplinksAre( false );
      EXPECT_THAT(
          lines, HasSubstr( "group g: can't shut ports that do not exist: d2; each is shut once it "
                            "exists, unless the group is up by then\n" ) );
      EXPECT_THAT( agent->statusLines()[ 0 ], EndsWith( ", d2 absent" ) );
      uplinksAre( true );
   }
   groups[ 0 ].policy.dryRun = true;
   agent->reload( config(), "f" );
   takeLines();
   uplinksAre( false );
   EXPECT_EQ( lines.find( "do not exist" ), std::string::npos ) << lines;
}

TEST_F( AgentTest, dryRunOnlyLogs ) {
   groups[ 0 ].policy.dryRun = true;
   start();
   uplinksAre( false );
   EXPECT_THAT( takeLines(), EndsWith( "dry_run, else ports would be shut now: d1 d2\n" ) );
   for ( bool const isDry : { false, true } ) {
      EXPECT_EQ( takeActs(), "" );
      groups[ 0 ].policy.dryRun = isDry;
      agent->reload( config(), "f" );
      runTurns();
      EXPECT_EQ( takeActs(), isDry ? " +d1 +d2" : " -d1 -d2" );
   }
   EXPECT_THAT( takeLines(),
                EndsWith( "port d2 opened: it need not be shut, though group g is down, 0/2 up, "
                          "min_links 1, dry_run\n"
                          "configuration loaded: groups added 0, changed 1, removed 0\n" ) );
}

TEST_F( AgentTest, operationalStateCountsUnlessTheCarrierIsNewer ) {
   groups = { group( "g", { "u1" }, { "d1" } ) };
   start();
   // A dump shows this state while the message about the new one is delayed.
   kernel.operState( "u1", IF_OPER_DOWN );
   runTurns();
   EXPECT_EQ( takeActs(), "" );
   kernel.operState( "u1", IF_OPER_DORMANT );
   runTurns();
   EXPECT_EQ( takeActs(), " -d1" );
   kernel.operState( "u1", IF_OPER_LOWERLAYERDOWN );
   runTurns();
   EXPECT_EQ( takeActs(), "" ) << "not up before the kernel says so";
   EXPECT_THAT( lines, HasSubstr( "uplink u1 has carrier but is dormant" ) );
   kernel.operState( "u1", IF_OPER_UNKNOWN );
   runTurns();
   EXPECT_EQ( takeActs(), " +d1" );
}

TEST_F( AgentTest, idleTicksAreCheapAndFindEachLoss ) {
   std::vector< std::string > const names{ "x0", "x1", "x2", "x3", "x4", "x5" };
   groups = { { "g", { "u1", "u2" }, { "d1" } },
              { "h", { "x0", "x1", "x2", "x3", "x4", "x5" }, { "d2" }, 6 } };
   for ( std::string const& name : names )
      kernel.add( name );
   kernel.lossInterval = 1;
   ConfigFile file = config();
   file.detection = {};
   agent->start( file );
   pass( 2 );
   auto const tick = [ & ] {
      kernel.driverQueries = kernel.linkQueries = 0;
      bool const hasNews = agent->handleTick();
      return std::to_string( kernel.driverQueries ) + " + " + std::to_string( kernel.linkQueries ) +
             ( hasNews ? ", news" : "" );
   };
   tick();
   EXPECT_EQ( agent->tickMs(), 10 );
   EXPECT_EQ( tick(), "8 + 0" );
   kernel.carrier( "u1", false );
   kernel.carrier( "u2", false );
   EXPECT_EQ( tick(), "8 + 2, news" ) << "each uplink is asked once";
   agent->endTurn();
   EXPECT_EQ( takeActs(), " -d1" );

   // These drivers say nothing, so the kernel is asked, for one of them in each tick.
   for ( std::string const& name : names )
      kernel.link( name ).hidesCarrier = true;
   runTurns();
   pass( 2 );
   tick();
   for ( int i = 0; i < 6; ++i )
      EXPECT_EQ( tick(), "3 + 1" );
   kernel.carrier( "x5", false );
   for ( int i = 0; i < 6; ++i )
      tick();
   agent->endTurn();
   EXPECT_EQ( takeActs(), " -d2" );
}

TEST_F( AgentTest, failedActIsLoggedOnceAndRetried ) {
   start();
   kernel.link( "d1" ).refusal = EPERM;
   uplinksAre( false );
   takeLines();
   // The act is retried each second.
   pass( 2 );
   EXPECT_EQ( takeLines(), "" );
   kernel.link( "d1" ).refusal = 0;
   pass( 1 );
   EXPECT_EQ( agent->nextTime(), never );
   EXPECT_EQ( takeLines(), "port d1 shut: group g is down, 0/2 up, min_links 1\n" );

   // A port that somebody else shut is not opened.
   uplinksAre( true );
   kernel.link( "d1" ).refusal = EPERM;
   uplinksAre( false );
   EXPECT_EQ( store.names(), "d2" );
   kernel.set( "d1", false );
   kernel.link( "d1" ).refusal = 0;
   uplinksAre( true );
   EXPECT_FALSE( kernel.isUp( "d1" ) );
   kernel.set( "d1", true );

   // A port that was shut is ours even if the answer was lost.
   kernel.link( "d1" ).refusal = ENOBUFS;
   uplinksAre( false );
   kernel.link( "d1" ).refusal = 0;
   kernel.link( "d2" ).refusal = EBUSY;
   EXPECT_FALSE( agent->openAll() );
   EXPECT_THAT( takeLines(), HasSubstr( "port d2 can't be opened: Device or resource busy; open it "
                                        "with: ip link set dev d2 up" ) );
   EXPECT_TRUE( kernel.isUp( "d1" ) );
}

TEST_F( AgentTest, killedDaemonLeavesThePortsAndTheNextOneOwnsThem ) {
   std::string atActs;
   kernel.add( "d3", false );
   groups[ 0 ].config->intfsToDisableIs( Kelnet::IntfId( "d3" ), true );
   start();
   kernel.meanwhile = [ & ] { atActs += '[' + store.names() + ']'; };
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   EXPECT_EQ( atActs + store.names(), "[d1 d2][d1 d2][d1 d2][d1 d2]d1 d2" )
       << "recorded before each act";
   restart();
   EXPECT_EQ( takeActs(), "" );
   atActs.clear();
   EXPECT_EQ( takeLines(), "port d1 was shut by ufdd before: still shut\n"
                           "port d2 was shut by ufdd before: still shut\n"
                           "group g: unknown -> down, 0/2 up, min_links 1: configured\n"
                           "port d3 left as it is, administratively down already: group g is "
                           "down, 0/2 up, min_links 1\n" );
   uplinksAre( true );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   EXPECT_EQ( atActs + store.names(), "[d1 d2][d1 d2][d1 d2][d1 d2]" )
       << "removed from the record once all are opened";
   restart();
   EXPECT_EQ( takeActs(), "" );
}

TEST_F( AgentTest, nextDaemonAdoptsLinksThatNobodyChanged ) {
   for ( char const* const name : { "d3", "d4", "d5", "d6" } )
      kernel.add( name );
   groups = { group( "g", { "u1", "u2" }, { "d1", "d2", "d3", "d4", "d5", "d6" } ) };
   start();
   uplinksAre( false );
   takeActs();
   std::uint32_t const reused = kernel.index( "d4" );
   kernel.rename( "d3", "spare" );
   // Made anew, with the same name and index.
   kernel.link( "d2" ).hasPermanentAddress = false;
   ++kernel.link( "d2" ).address;
   kernel.remove( "d4" );
   kernel.remove( "d5" );
   kernel.nextIndex = reused;
   kernel.add( "new", false );
   kernel.set( "d6", true );
   kernel.carrier( "u1", true );
   restart();
   EXPECT_EQ( takeActs(), " +d1 +spare" ) << lines;
   EXPECT_TRUE( kernel.isUp( "d6" ) );
   EXPECT_FALSE( kernel.isUp( "new" ) );
   EXPECT_EQ( store.names(), "" );
   for ( char const* const line :
         { "d2 was shut by ufdd before, but has another hardware address now: not opened",
           "d3 was shut by ufdd before, and renamed spare since: still shut",
           "d4 was shut by ufdd before, but is gone: new is another interface",
           "d5 was shut by ufdd before, but there is no such interface any more",
           "d6 was shut by ufdd before and opened by someone else since" } )
      EXPECT_THAT( lines, HasSubstr( line ) );
}

TEST_F( AgentTest, protoDownIsUsedWhereTheDriverSupportsIt ) {
   kernel.add( "d3" );
   kernel.link( "d1" ).hasProtoDown = kernel.link( "d3" ).hasProtoDown = true;
   kernel.link( "d3" ).slips = true;
   groups = { group( "g", { "u1", "u2" }, { "d1", "d2", "d3" } ) };
   start();
   for ( char const* const acts :
         { " protodown -d1 protodown -d3 protodown +d3 -d2 -d3", " protodown -d1 -d2 -d3" } ) {
      uplinksAre( false );
      EXPECT_EQ( takeActs(), acts );
      uplinksAre( true );
      EXPECT_EQ( takeActs(), " protodown +d1 +d2 +d3" );
   }
   // The administrator's setting is left alone. A link with our protodown reason is adopted
   // whatever the record says.
   uplinksAre( false );
   kernel.set( "d1", false );
   for ( OwnedLink& owned : store.links )
      owned.means = LinkRequest::Means::adminDown;
   restart();
   EXPECT_THAT( takeLines(), HasSubstr( "port d1 has ufdd's protodown reason: shut by ufdd" ) );
   takeActs();
   uplinksAre( true );
   EXPECT_EQ( takeActs(), " protodown +d1 +d2 +d3" );
   EXPECT_FALSE( kernel.isUp( "d1" ) );
}

TEST_F( AgentTest, protoDownOfOthersStays ) {
   constexpr std::uint32_t ours = 1 << 5;
   kernel.link( "d1" ).hasProtoDown = kernel.link( "d2" ).hasProtoDown = true;
   start();
   kernel.protoDown( "d2", true, 0 );
   uplinksAre( false );
   kernel.protoDown( "d1", true, ours | 1 << 7 | 1 << 9 );
   runTurns();
   takeLines();
   // The next daemon leaves the protodown of others alone as well.
   restart();
   takeLines();
   uplinksAre( true );
   EXPECT_EQ( agent->nextTime(), never );
   EXPECT_EQ( takeLines(), "group g: down -> up, 1/2 up, min_links 1: uplink u1 is up\n"
                           "port d1 opened, but others keep it in protodown, for the reasons 7, "
                           "9: group g is up, 2/2 up, min_links 1\n"
                           "port d2 opened, but it was in protodown before: group g is up, 2/2 "
                           "up, min_links 1\n" );
   EXPECT_EQ( kernel.link( "d1" ).protoDownReasons, 1u << 7 | 1u << 9 );
   EXPECT_TRUE( kernel.link( "d2" ).protoDown );
   EXPECT_EQ( kernel.link( "d2" ).protoDownReasons, 0u );
   // Nor does the log's remedy clear the protodown of others.
   uplinksAre( false );
   kernel.link( "d2" ).refusal = EPERM;
   takeLines();
   EXPECT_FALSE( agent->openAll() );
   EXPECT_THAT( lines, EndsWith( "open it with: ip link set dev d2 protodown_reason 5 off\n" ) );
}

TEST_F( AgentTest, portOpenedAgainAndAgainIsOverridden ) {
   double& now = simulatedNow;
   kernel.link( "d2" ).hasProtoDown = true;
   start();
   uplinksAre( false );
   auto const openBoth = [ this ] {
      kernel.set( "d1", true );
      kernel.protoDown( "d2", false, 0 );
      runTurns();
   };
   takeLines();
   openBoth();
   EXPECT_EQ( takeLines(), "port d1 shut again, someone had opened it: group g is down, 0/2 up, "
                           "min_links 1\n"
                           "port d2 shut again, someone had opened it: group g is down, 0/2 up, "
                           "min_links 1\n" );
   // Once every 21 s is not too often.
   for ( int i = 0; i < 4; ++i ) {
      now += 21;
      openBoth();
   }
   takeActs();
   now += 81;
   for ( int i = 0; i < 3; ++i )
      openBoth();
   EXPECT_EQ( takeActs(), " -d1 protodown -d2 -d1 protodown -d2 -d1 protodown -d2" );
   takeLines();
   openBoth();
   EXPECT_EQ(
       takeLines(),
       "port d1 overridden: someone opened it more than 3 times in a minute; it is left open "
       "until its groups are up, though group g is down, 0/2 up, min_links 1\n"
       "port d2 overridden: someone opened it more than 3 times in a minute; it is left open "
       "until its groups are up, though group g is down, 0/2 up, min_links 1\n" );
   openBoth();
   EXPECT_EQ( takeActs() + takeLines() + store.names(), "" );
   restart();
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( agent->summary(), "1 group, 1 down; ports shut: 0; overridden: d1 d2" );
   uplinksAre( true );
   uplinksAre( false );
   EXPECT_EQ( agent->summary(), "1 group, 1 down; ports shut: 2" );
   EXPECT_EQ( takeActs(), " protodown -d2 -d1" );
}

} // namespace
} // namespace Ufdd
