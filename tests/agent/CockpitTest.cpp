#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Explanation.h"
#include "agent/ctl/MetricsText.h"
#include "agent/ctl/ShowScreen.h"
#include "agent/ctl/Watcher.h"
#include "agent/ctl/WhatIf.h"
#include "agent/ctl/Words.h"
#include "tests/agent/JsonSchema.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <sstream>
#include <string>

namespace Ufdd {
namespace {

using UplinkFailureDetection::GroupLinkStatus;
using Names = std::initializer_list< char const* >;

// What ufdctl makes of roots that are filled by hand.
class CockpitTest : public testing::Test {
 protected:
   CockpitTest() {
      setenv( "TZ", "UTC-2", 1 );
      tzset();
      group( "rack1", GroupLinkStatus::down, { "uplink1", "uplink2" }, { "server1", "server2" } );
      group( "rack2", GroupLinkStatus::up, { "uplink3", "uplink4" }, { "server1", "server3" } );
      link( "uplink1", LinkCondition::noCarrier, 12 );
      link( "uplink2", LinkCondition::noCarrier, 13 );
      port( "server1", PortCondition::shut, 12 ).meansIs( PortMeans::down );
      port( "server1", PortCondition::shut, 12 ).groupIs( "rack1", true );
      port( "server2", PortCondition::overridden, 4 ).groupIs( "rack1", true );
   }
   GroupState& group( char const* name, GroupLinkStatus status, Names uplinks, Names ports ) {
      auto const config = roots.config->groupIs( name );
      auto const state = roots.state->groupIs( name );
      roots.status->groupIs( name )->groupLinkStatusIs( status );
      bool const isUp = status == GroupLinkStatus::up;
      for ( char const* const uplink : uplinks ) {
         config->intfsToMonitorIs( Kelnet::IntfId( uplink ), true );
         link( uplink, LinkCondition::up, 100 );
      }
      for ( char const* const each : ports ) {
         config->intfsToDisableIs( Kelnet::IntfId( each ), true );
         link( each, LinkCondition::up, 100 );
         port( each, PortCondition::open, 100 ).groupIs( name, false );
      }
      auto const count = static_cast< unsigned int >( uplinks.size() );
      state->allLinksIs( count );
      state->upLinksIs( isUp ? count : 0 );
      state->minLinksIs( 1 );
      state->recoverLinksIs( 1 );
      state->neededLinksIs( 1 );
      state->isDownIs( !isUp );
      ( isUp ? state->upTimeIs( now.steady - 90 ) : state->downTimeIs( now.steady - 12 ) );
      state->recoveryDelayIs( 2 );
      return *state;
   }
   void link( char const* name, LinkCondition condition, double age ) {
      auto const link = roots.state->linkIs( name );
      link->conditionIs( condition );
      link->sinceIs( now.steady - age );
   }
   PortState& port( char const* name, PortCondition condition, double age ) {
      auto const port = roots.state->portIs( name );
      port->conditionIs( condition );
      port->sinceIs( now.steady - age );
      return *port;
   }
   View view() const { return { roots, now }; }
   std::string explain( char const* name ) const {
      View const all = view();
      return Explanation( all, name ).text( Colours::none );
   }
   std::string show() const { return groupsScreen( view(), Colours::none ); }

   StatusRoots const roots = StatusRoots::make();
   // 2026-03-01 10:30:00.500 in UTC.
   Moment const now{ .steady = 100000, .wall = 1772361000.5 };
};

TEST_F( CockpitTest, showsWhatIsWrongFirst ) {
   link( "uplink4", LinkCondition::absent, 5 );
   EXPECT_EQ( show(), &R"(
rack1  DOWN  0/2 up, needs 1   since 12:29:48.500 (12 s)
  uplinks  uplink1  no carrier, 12 s    uplink2  no carrier, 13 s
  ports    server1  shut (down), 12 s    server2  overridden by hand, 4 s

rack2  UP  2/2 up, needs 1   since 12:28:30.500 (1 min)
  uplinks  uplink4  absent, 5 s    uplink3  up, 1 min
  ports    server1  shut (down), 12 s    server3  open, 1 min
)"[ 1 ] );
   EXPECT_EQ( briefScreen( view(), Colours::none ),
              "rack1  DOWN  0/2 up, needs 1  2 of 2 ports not open\n"
              "rack2  UP    2/2 up, needs 1  1 of 2 ports not open\n" );
   EXPECT_EQ( portsScreen( view(), Colours::none ),
              "PORT     STATE               FOR    LINK  SHUT BY  NOT BY\n"
              "server1  shut (down)         12 s   up    rack1    rack2\n"
              "server2  overridden by hand  4 s    up    rack1    -\n"
              "server3  open                1 min  up    -        rack2\n" );
   link( "old", LinkCondition::setDown, 7 );
   port( "old", PortCondition::opening, 2 ).meansIs( PortMeans::down );
   EXPECT_THAT( show(), EndsWith( "\n\nStill shut by ufdd: no group disables them any more\n"
                                  "  ports    old  opening (down), 2 s\n" ) );
   EXPECT_THAT( groupsScreen( view(), Colours::terminal ),
                HasSubstr( "  \x1b[1;31mDOWN\x1b[0m  " ) );
}

// Many names, long names and long texts.
TEST_F( CockpitTest, fitsOnAScreen ) {
   roots.state->configFileIs( "/etc/ufdd.toml" );
   roots.state->configTimeIs( now.steady - 8000 );
   roots.state->refusalTimeIs( now.steady - 125 );
   roots.state->refusalIs( "/etc/ufdd.toml:12:3: " + std::string( 90, 'x' ) + " is no key" );
   GroupState& big = group( "big", GroupLinkStatus::down, {}, {} );
   big.modeIs( GroupMode::startupHold );
   big.waitTimeIs( now.steady + 7.25 );
   auto const config = roots.config->group( "big" );
   for ( int i = 0; i < 40; ++i ) {
      std::string const name = "interface" + std::to_string( i );
      config->intfsToMonitorIs( Kelnet::IntfId( name ), true );
      config->intfsToDisableIs( Kelnet::IntfId( name ), true );
      link( name.c_str(), i < 20 ? LinkCondition::up : LinkCondition::absent, 100000 );
      port( name.c_str(), PortCondition::open, 100000 ).groupIs( "big", false );
   }
   std::string const screen = show();
   EXPECT_THAT( screen, StartsWith( "/etc/ufdd.toml is not in force: it was refused 2 min ago "
                                    "(/etc/ufdd.toml:12:3:\n  xxx" ) );
   for ( char const* const part :
         { "in startup hold for another 7.2 s: it leaves the ports of big as they\n",
           "until it is up, at most\n           7.2 s\n",
           "           8 more are not up: ufdctl show --links; 20 others up\n",
           "  ports    40 open\n" } )
      EXPECT_THAT( screen, HasSubstr( part ) );
   std::size_t lines = 0;
   std::string line;
   for ( std::istringstream in( screen ); std::getline( in, line ); ++lines )
      EXPECT_TRUE( line.size() <= 80 || line.find( "xxx" ) != std::string::npos ) << line;
   EXPECT_LE( lines, 24u ) << screen;
}

TEST_F( CockpitTest, explainsAPort ) {
   roots.state->configFileIs( "/etc/ufdd.toml" );
   EXPECT_EQ( explain( "server1" ), &R"(
server1: shut by ufdd since 2026-03-01 12:29:48.500, 12 s ago (admin down)
  because  group rack1 is down: 0/2 up, needs 1
             uplink1  no carrier, 12 s
             uplink2  no carrier, 13 s
  not by   group rack2: 2/2 up, needs 1
  opens    once rack1 has been up for 2 s (recovery_delay), which takes 1 more
           uplink
  or       ufdctl clear server1    opens it now, until rack1 is up
)"[ 1 ] );
   auto const says = [ & ]( char const* name, Names parts ) {
      std::string const text = explain( name );
      for ( char const* const part : parts )
         EXPECT_THAT( text, HasSubstr( part ) );
   };
   says( "server2", { "opened by hand or cleared, and left open by ufdd, since 2026-03-01\n",
                      "shuts    the next time" } );
   says( "server3", { "server3: open since", "not by   group rack2: 2/2 up, needs 1\n",
                      "shuts    once rack2 loses 2 more uplinks\n" } );
   roots.state->group( "rack2" )->modeIs( GroupMode::dryRun );
   port( "server1", PortCondition::open, 4 ).groupIs( "rack2", true );
   says( "server1", { "not by   group rack2: 2/2 up, needs 1; dry run: it only",
                      "shuts    once startup_hold has passed" } );
   port( "server1", PortCondition::shut, 4 ).groupIs( "rack1", false );
   says( "server1", { "not by   group rack1 is down: 0/2 up, needs 1\n" } );
   GroupState& rack1 = *roots.state->group( "rack1" );
   rack1.waitTimeIs( now.steady + 1.5 );
   rack1.waitIs( WaitReason::downDelay );
   link( "server1", LinkCondition::noCarrier, 5 );
   port( "server1", PortCondition::open, 9 ).meansIs( PortMeans::none );
   port( "server1", PortCondition::open, 9 ).groupIs( "rack1", false );
   says( "server1", { "link     no carrier, 5 s; not ufdd's doing\n",
                      "shuts    in 1.5 s, if rack1 stays down (down_delay)\n" } );
   rack1.upLinksIs( 2 );
   rack1.waitIs( WaitReason::recoveryDelay );
   roots.status->group( "rack1" )->groupLinkStatusIs( GroupLinkStatus::up );
   port( "server1", PortCondition::failed, 9 ).meansIs( PortMeans::protodown );
   port( "server1", PortCondition::failed, 9 ).groupIs( "rack1", true );
   port( "server1", PortCondition::failed, 9 ).failureIs( "Operation not permitted" );
   says( "server1", { "still open (ufdd can't shut it) since", "failed   Operation not permitted\n",
                      "because  group rack1 was down, and is up again: 2/2 up, needs 1",
                      "opens    in 1.5 s, if rack1 stays up (recovery_delay)\n" } );
   try {
      explain( "sever1" );
      FAIL();
   } catch ( Failure const& failure ) {
      EXPECT_STREQ( failure.what(), "there is no port \"sever1\"; did you mean server1?" );
      EXPECT_EQ( failure.status(), ExitStatus::unknownName );
   }
}

TEST_F( CockpitTest, remindsOfWhatOperatorsHaveLeft ) {
   roots.state->configFileIs( "/etc/ufdd.toml" );
   roots.state->confirmTimeIs( now.steady + 7.25 );
   GroupState& rack2 = *roots.state->group( "rack2" );
   rack2.modeIs( GroupMode::orderedDown );
   rack2.orderIs( OrderKind::down );
   rack2.orderTimeIs( now.steady - 7200 );
   rack2.orderReasonIs( "new cable" );
   PortState& server3 = port( "server3", PortCondition::ordered, 5 );
   server3.orderIs( OrderKind::down );
   server3.orderTimeIs( now.steady - 5 );
   server3.orderUidIs( 1000 );
   server3.orderEndTimeIs( now.steady + 55 );
   EXPECT_THAT( show(), StartsWith( &R"(
/etc/ufdd.toml is not confirmed: the former configuration comes back in 7.2 s,
  unless: ufdctl confirm
group rack2 is ordered down by user 0, 2 h 0 min ago: new cable. To end that:
  ufdctl auto rack2
port server3 is ordered down by user 1000, 5 s ago, for another 55 s. To end
  that: ufdctl auto server3
)"[ 1 ] ) );
   EXPECT_THAT( explain( "server3" ), HasSubstr( &R"(
  opens    in 55 s, or once the order ends: ufdctl auto server3
  and      once the order ends: ufdctl auto rack2
)"[ 1 ] ) );
   EXPECT_THAT( explain( "server3" ),
                HasSubstr( "  ordered down by user 0, 2 h 0 min ago: new cable\n" ) );
   EXPECT_EQ( faultsOf( lineOf( json( view() ) ) ), "" );
}

TEST_F( CockpitTest, watchesGroupsAndPorts ) {
   auto const play = [ this ]( std::string const& wanted, bool asJson ) {
      std::ostringstream out;
      Watcher watcher( roots, wanted, out, { .asJson = asJson },
                       [] { return Moment{ .steady = 100000, .wall = 1772361000.5 }; } );
      group( "rack1", GroupLinkStatus::down, { "uplink1" }, { "server1" } );
      port( "server1", PortCondition::shut, 1 ).groupIs( "rack1", true );
      port( "server2", PortCondition::open, 1 );
      watcher.showStates();
      for ( auto const status :
            { GroupLinkStatus::up, GroupLinkStatus::down, GroupLinkStatus::up } )
         group( "rack1", status, { "uplink1" }, { "server1" } );
      roots.state->group( "rack1" )->causeIs( "uplink uplink1 came up" );
      watcher.showChanges();
      watcher.handleLoss( "/s" );
      watcher.handleResync( "/s" );
      group( "rack2", GroupLinkStatus::down, {}, {} );
      watcher.showChanges();
      group( "rack2", GroupLinkStatus::up, {}, {} );
      return out.str();
   };
   std::string const lines = play( "", false );
   for ( char const* const line :
         { "2026-03-01 12:30:00.500  group rack1  is down\n",
           "  port server1  is shut (down): wanted shut by rack1\n", "  group rack1   down -> up\n",
           "  group rack1   up -> down\n",
           "  group rack1   down -> up, 1/1 up, needs 1: uplink uplink1 came up\n",
           "  port server1  shut (down) -> open (down): no group wants it shut\n",
           "  lost ufdd at /s; waiting for it to come back\n",
           "  group rack2   up -> down, 0/0 up, needs 1\n" } )
      EXPECT_THAT( lines, HasSubstr( line ) );
   std::string const objects = play( "rack1", true );
   EXPECT_EQ( objects.find( "rack2" ), objects.find( "rack2\",\"wantsShut" ) ) << objects;
   EXPECT_EQ( faultsOf( objects ), "" );
   EXPECT_EQ( std::ranges::count( objects, '\n' ), 8 ) << objects;
}

TEST_F( CockpitTest, tellsWhatWouldHappen ) {
   auto const ask = [ & ]( WhatIf::Question const& question ) {
      View const all = view();
      WhatIf const answer( all, question );
      EXPECT_EQ( faultsOf( lineOf( answer.json() ) ), "" );
      EXPECT_EQ( answer.shutsAny(), answer.json()[ "anyShut" ] );
      return answer.text( Colours::none );
   };
   // Shutting server3 takes the uplink of another group.
   group( "tail", GroupLinkStatus::up, { "server3" }, { "end1", "end2", "end3" } );
   roots.state->group( "tail" )->downDelayIs( 3 );
   port( "server2", PortCondition::shut, 4 ).meansIs( PortMeans::down );
   port( "end2", PortCondition::overridden, 9 );
   link( "end3", LinkCondition::setDown, 9 );
   EXPECT_EQ( ask( { .down = { "uplink3", "uplink4" }, .up = {}, .file = "" } ), &R"(
GROUP  NOW  THEN  UPLINKS
rack2  up   down  0/2 up, needs 1
tail   up   down  0/1 up, needs 1
Groups that stay as they are: 1

PORT     WOULD BE        WHY
end1     shut after 3 s  tail down, once server3 is shut
end2     left alone      tail down, but it is overridden by hand
end3     left alone      tail down, but it is administratively down already
server3  shut at once    rack2 down

Nothing was changed.
)"[ 1 ] );
   // What the configuration in force protects, whatever the file says by now.
   roots.state->protectIs( "server3", true );
   EXPECT_THAT( ask( { .down = { "uplink3", "uplink4" }, .up = {}, .file = "" } ),
                HasSubstr( "\nserver3  left alone  rack2 down, but it is protected\n" ) );
   roots.state->protectDel( "server3" );
   roots.state->group( "rack2" )->modeIs( GroupMode::dryRun );
   EXPECT_EQ( ask( { .down = { "uplink3", "uplink4" }, .up = { "uplink2" }, .file = "" } ), &R"(
GROUP  NOW   THEN  UPLINKS
rack1  down  up    1/2 up, needs 1
rack2  up    down  0/2 up, needs 1
Groups that stay as they are: 1

PORT     WOULD BE          WHY
server1  opened after 2 s  rack1 up; rack2 down, but in dry run
server2  opened after 2 s  rack1 up
server3  left alone        rack2 down, but in dry run

Nothing was changed.
)"[ 1 ] );
   // A replica does not know which routes there are.
   roots.state->group( "rack1" )->releaseWhenIs( "10.0.0.0/8, default-route" );
   roots.state->group( "rack1" )->releaseTimeoutIs( 20 );
   EXPECT_THAT( ask( { .down = {}, .up = { "uplink2" }, .file = "" } ),
                HasSubstr( "server2  opened after 2 s  rack1 up; once there are routes 10.0.0.0/8, "
                           "default-route (release_when), after 22 s at the latest\n" ) );
   // Once down, a group needs more to be up again, in the configuration that is asked about, too.
   roots.state->group( "rack1" )->recoverLinksIs( 2 );
   roots.state->group( "rack1" )->neededLinksIs( 2 );
   roots.config->group( "rack1" )->minLinksIs( 2 );
   TextFile const same( "[[group]]\nname = 'rack1'\nmonitor = [ 'uplink1', 'uplink2' ]\n"
                        "disable = [ 'server1' ]\nrecover_links = 2\n" );
   for ( std::string const& path : { std::string(), same.path() } ) {
      EXPECT_THAT( ask( { .down = {}, .up = { "uplink2" }, .file = path } ),
                   HasSubstr( "rack1  down  down  1/2 up, needs 1, 2 until recovered\n" ) );
      EXPECT_THAT( ask( { .down = {}, .up = { "uplink1", "uplink2" }, .file = path } ),
                   HasSubstr( "rack1  down  up    2/2 up, needs 1\n" ) );
   }
   roots.state->group( "rack2" )->modeIs( GroupMode::acting );
   link( "uplink4", LinkCondition::unproven, 9 );
   EXPECT_THAT( ask( { .down = { "uplink3" }, .up = {}, .file = "" } ),
                HasSubstr( "server3  left alone  rack2 down, but for unproven uplinks\n" ) );
   roots.state->group( "rack2" )->upLinksIs( 1 );
   EXPECT_EQ( ask( {} ), "No group would change.\n\nNo port would change.\n\n"
                         "Nothing was changed.\n" );
   TextFile const file(
       "[[group]]\nname = 'rack2'\nmonitor = [ 'uplink3', "
       "'new1' ]\ndisable = [ 'server3', 'end1' ]\nmin_links = 2\ndown_delay = 2\n" );
   EXPECT_EQ( ask( { .down = {}, .up = {}, .file = file.path() } ), &R"(
Not watched by ufdd yet, and taken as the kernel shows them here: new1
GROUP  NOW   THEN  UPLINKS
rack1  down  -
rack2  up    down  1/2 up, needs 2
tail   up    -

PORT     WOULD BE        WHY
end1     shut after 2 s  rack2 down
server1  opened at once  no group disables it any more
server2  opened at once  no group disables it any more
server3  shut after 2 s  rack2 down

Nothing was changed.
)"[ 1 ] );
   // Orders of operators stand, and so do latches.
   PortState& ordered = port( "server3", PortCondition::ordered, 1 );
   ordered.orderIs( OrderKind::down );
   ordered.meansIs( PortMeans::down );
   port( "end1", PortCondition::open, 1 ).orderIs( OrderKind::down );
   roots.state->group( "rack1" )->autoRecoverIs( false );
   roots.state->group( "rack2" )->modeIs( GroupMode::disabled );
   roots.state->group( "rack2" )->orderIs( OrderKind::disable );
   std::string const stands =
       ask( { .down = { "uplink3" }, .up = { "uplink1", "uplink2" }, .file = "" } );
   EXPECT_THAT( stands, HasSubstr( &R"(
PORT     WOULD BE      WHY
end1     shut at once  ordered down
end2     left alone    tail down, but it is overridden by hand
end3     left alone    tail down, but it is administratively down already
server1  left alone    rack1 up, but latched (auto_recover), until: ufdctl clear server1
server2  left alone    rack1 up, but latched (auto_recover), until: ufdctl clear server2
)"[ 1 ] ) );
   EXPECT_THAT( ask( { .down = {}, .up = {}, .file = file.path() } ),
                HasSubstr( "end1     shut at once    ordered down\n" ) );
   View const all = view();
   try {
      WhatIf( all, { .down = { "uplnk1" }, .up = {}, .file = "" } );
      FAIL();
   } catch ( Failure const& failure ) {
      EXPECT_STREQ( failure.what(), "no group has a link \"uplnk1\"; did you mean uplink1?" );
   }
}

TEST_F( CockpitTest, namesEveryConditionAndMode ) {
   std::string words;
   std::string objects;
   for ( unsigned int i = 0; i < Notify::Description< PortCondition >::enumerators.size(); ++i ) {
      port( "server3", static_cast< PortCondition >( i ), 9 );
      words += portText( *roots.state->port( "server3" ) ) + '\n';
      objects += lineOf( json( view() ) );
   }
   EXPECT_EQ( words, "open\nopening\nshut\nshut by order\nlatched\ndown, not by ufdd\nshutting\n"
                     "can't be opened\nabsent\noverridden by hand\nopen: protected\n"
                     "open: default route\nopen: dry run\n" );
   GroupState& state = *roots.state->group( "rack2" );
   state.releaseWhenIs( "10.0.0.0/8" );
   state.waitTimeIs( now.steady + 20 );
   words = "";
   for ( unsigned int i = 0; i < Notify::Description< GroupMode >::enumerators.size(); ++i ) {
      state.modeIs( GroupMode::acting );
      state.waitIs( static_cast< WaitReason >( i ) );
      std::string const wait = waitText( state, now );
      state.modeIs( static_cast< GroupMode >( i ) );
      words += modeText( state, now ).substr( 0, 24 ) + '|' + wait + '\n';
      objects += lineOf( json( view() ) );
   }
   EXPECT_EQ( words, &R"(
|
disabled by the configur|down_delay: its ports are shut in 20 s if it stays down
ordered down by the conf|recovery_delay: its ports are opened in 20 s if it stays up
dry run: it only logs wh|release_when: its ports are opened once there is a route 10.0.0.0/8, else in 20 s
startup hold: its ports |
unproven: it is down onl|
)"[ 1 ] );
   EXPECT_EQ( faultsOf( objects ), "" );
   state.modeIs( GroupMode::orderedDown );
   state.waitIs( WaitReason::recoveryDelay );
   EXPECT_EQ( waitText( state, now ), "" );
}

TEST_F( CockpitTest, keepsToItsSchema ) {
   View const all = view();
   Json show = json( all );
   EXPECT_EQ( show[ "groups" ][ 0 ][ "downTime" ], "2026-03-01T10:29:48.500Z" );
   EXPECT_EQ( show[ "groups" ][ 0 ][ "upTime" ], Json() );
   EXPECT_EQ( show[ "healthy" ], false );
   EXPECT_EQ( faultsOf( lineOf( show ) + lineOf( Explanation( all, "server1" ).json() ) ), "" );
   show[ "groups" ][ 0 ][ "linkStatus" ] = "DOWN";
   show[ "ports" ][ 0 ].erase( "condition" );
   EXPECT_EQ( faultsOf( lineOf( show ) ),
              "$.groups[0].linkStatus 'DOWN' is not one of ['unknown', 'up', 'down']\n"
              "$.ports[0] 'condition' is a required property\n" );
}

TEST_F( CockpitTest, tellsWhatChecksMakeOfUplinks ) {
   auto const check = roots.state->checkIs( "bfd" );
   for ( char const* const uplink : { "uplink3", "uplink4" } )
      check->uplinkIs( uplink, true );
   check->verdictIs( CheckVerdict::down );
   check->resultIs( CheckResult::fail );
   check->reasonIs( "Down" );
   check->runIs( 3 );
   check->sinceIs( now.steady - 3 );
   check->waitTimeIs( now.steady + 28 );
   EXPECT_THAT( show(), StartsWith( "checks failed at once: bfd. The fault may be in this machine: "
                                    "they count in 28\n" ) );
   EXPECT_THAT( show(), HasSubstr( "bfd  down, and counts in 28 s, 3 s: Down, 3 in a row" ) );
   EXPECT_FALSE( view().isHealthy() );
   auto const shuts = [ this ]( std::string const& verdict ) {
      View const all = view();
      return WhatIf( all, { .down = {}, .up = {}, .checks = { verdict }, .file = {} } ).shutsAny();
   };
   EXPECT_TRUE( shuts( "bfd=down" ) );
   EXPECT_FALSE( shuts( "bfd=up" ) );
   EXPECT_THROW( shuts( "bfd" ), Failure );
   EXPECT_THROW( shuts( "bfe=up" ), Failure );
   EXPECT_THAT( metricsText( roots ),
                HasSubstr( "ufdd_check_state{check=\"bfd\",state=\"up\"} 0\n"
                           "ufdd_check_state{check=\"bfd\",state=\"down\"} 1\n" ) );
}

} // namespace
} // namespace Ufdd
