#include "agent/orders/OrderFile.h"
#include "tests/agent/AgentTest.h"
#include "tests/agent/Directory.h"
#include "tests/agent/TextMatchers.h"

#include <fstream>

namespace Ufdd {
namespace {

using Verb = ControlRequest::Verb;
using Kind = ControlReply::Kind;

class SteerTest : public AgentTest {
 protected:
   static std::string movesOf( ControlReply const& reply ) {
      std::string moves;
      for ( std::string const& port : reply.toShut )
         moves += " -" + port;
      for ( std::string const& port : reply.toOpen )
         moves += " +" + port;
      return moves;
   }
   ControlReply ask( Verb verb, std::vector< std::string > targets, bool isForced = false,
                     std::optional< double > holdFor = {} ) {
      ControlRequest request{ .verb = verb,
                              .targets = std::move( targets ),
                              .holdFor = holdFor,
                              .confirmWithin = {},
                              .reason = "new switch",
                              .isForced = isForced,
                              .isDryRun = true,
                              .uid = 7,
                              .pid = 8 };
      // A dry run changes nothing, and foretells what the same request does.
      OrderBook const before = orders.book;
      ControlReply const foretold = agent->handle( request );
      EXPECT_EQ( takeActs(), "" );
      EXPECT_TRUE( orders.book == before );
      request.isDryRun = false;
      ControlReply reply = agent->handle( request );
      EXPECT_EQ( takeActs(), movesOf( reply ) );
      EXPECT_EQ( reply.kind, foretold.kind );
      EXPECT_EQ( reply.toShut, foretold.toShut );
      EXPECT_EQ( reply.toOpen, foretold.toOpen );
      EXPECT_EQ( reply.text, foretold.text );
      runTurns();
      EXPECT_EQ( takeActs(), "" );
      return reply;
   }
   // What moves: "-d1 -d2 +d3"; or why nothing does.
   std::string told( Verb verb, std::vector< std::string > targets, bool isForced = false,
                     std::optional< double > holdFor = {} ) {
      ControlReply const reply = ask( verb, std::move( targets ), isForced, holdFor );
      return reply.text + movesOf( reply );
   }
   // "acting; d1 open, d2 shut"
   std::string state() const {
      State const& known = *agent->roots().state;
      auto const word = [ & ]( char const* port ) {
         return std::string( Notify::textOf( known.port( port )->condition() ).view() );
      };
      return std::string( Notify::textOf( known.group( "g" )->mode() ).view() ) + "; d1 " +
             word( "d1" ) + ", d2 " + word( "d2" );
   }
};

TEST_F( SteerTest, anOrderComesBeforeTheUplinksAndEndsWithItsTime ) {
   start();
   EXPECT_EQ( told( Verb::down, { "g" }, false, 100 ), " -d1 -d2" );
   EXPECT_EQ( state(), "ordered down; d1 ordered, d2 ordered" );
   auto const group = agent->roots().state->group( "g" );
   EXPECT_EQ( group->order(), OrderKind::down );
   EXPECT_EQ( group->orderEndTime() - group->orderTime(), 100 );
   EXPECT_EQ( group->orderUid(), 7u );
   EXPECT_EQ( group->orderReason(), "new switch" );
   EXPECT_FALSE( group->isDown() );
   EXPECT_THAT( agent->summary(), EndsWith( "; orders stand about: g" ) );
   std::string const status = agent->statusLines()[ 0 ];
   EXPECT_THAT( status, HasSubstr( ", ordered down by uid 7 since " ) );
   EXPECT_THAT( status, HasSubstr( " (new switch): configured; uplinks: " ) );
   // Nobody else opens it, however often.
   for ( int i = 0; i < 10; ++i ) {
      kernel.set( "d1", true );
      runTurns();
   }
   EXPECT_FALSE( kernel.isUp( "d1" ) );
   takeActs();
   EXPECT_EQ( told( Verb::clear, { "d1" } ),
              "port d1 is ordered down with group g; end that order first: ufdctl auto g" );
   // Its time runs while no daemon does.
   simulatedNow += 50;
   restart();
   EXPECT_EQ( state(), "ordered down; d1 ordered, d2 ordered" );
   EXPECT_EQ( takeActs(), "" );
   takeLines();
   pass( 49 );
   EXPECT_EQ( takeActs(), "" );
   pass( 2 );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   EXPECT_THAT( lines, HasSubstr( "new switch; this order is over\n" ) );
   EXPECT_EQ( state(), "acting; d1 open, d2 open" );
   EXPECT_TRUE( orders.book.isEmpty() );

   EXPECT_EQ( told( Verb::disable, { "g" } ), "" );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( state(), "disabled; d1 open, d2 open" );
   takeLines();
   pass( 3700 );
   EXPECT_THAT( lines,
                HasSubstr( "new switch; this order stands, and is ended by: ufdctl auto g\n" ) );
   EXPECT_EQ( told( Verb::automatic, { "g" } ), " -d1 -d2" );
   EXPECT_EQ( told( Verb::disable, { "g" } ), " +d1 +d2" );
   EXPECT_EQ( told( Verb::down, { "d2" } ), " -d2" );
   EXPECT_EQ( state(), "disabled; d1 open, d2 ordered" );
   EXPECT_EQ( told( Verb::automatic, { "g" } ),
              "port d2 has an order of its own, which stands; to end it: ufdctl auto d2 -d1" );
   uplinksAre( true );
   EXPECT_EQ( takeActs(), " +d1" );
   EXPECT_EQ( told( Verb::automatic, { "d2" } ), " +d2" );
   EXPECT_EQ( told( Verb::automatic, { "d2" } ), "there is no order about port d2" );
}

// The kernel has delayed the messages that the uplinks are down again.
TEST_F( SteerTest, opensNothingOnOutdatedMessages ) {
   groups = { group( "g", { "u1", "u2" }, { "d1" } ) };
   start();
   told( Verb::down, { "d1" }, false, 10 );
   for ( bool const isOver : { false, true } ) {
      kernel.carrier( "u1", false );
      kernel.carrier( "u2", false );
      if ( isOver ) {
         simulatedNow += 10;
         agent->endTurn();
      } else {
         EXPECT_EQ( told( Verb::automatic, { "d1" } ), "" );
      }
      EXPECT_FALSE( kernel.isUp( "d1" ) );
      EXPECT_TRUE( orders.book.isEmpty() );
      uplinksAre( true );
      takeActs();
      told( Verb::down, { "d1" }, false, 10 );
   }
}

TEST_F( SteerTest, refusesWhatMustNotOrCanNotBe ) {
   groups.push_back( group( "dry", { "u1" }, { "d2", "d3" } ) );
   groups.back().policy.dryRun = true;
   groups.push_back( group( "d1", { "u2" }, { "safe" } ) );
   kernel.add( "d3" );
   kernel.add( "safe" );
   kernel.link( "safe" ).altNames = { "mgmt" };
   kernel.update( "safe" );
   ConfigFile file = config();
   file.protect = { "mgmt" };
   agent->start( file );
   runTurns();
   routes.routeIs( Prefix{}, kernel.index( "d2" ) );
   runTurns();
   auto const kind = [ & ]( Verb verb, std::string const& target ) {
      return ask( verb, { target } ).kind;
   };
   EXPECT_EQ( told( Verb::down, { "g", "d22" } ),
              "there is no group or port \"d22\"; did you mean \"d2\"?" );
   EXPECT_EQ( kind( Verb::down, "d22" ), Kind::unknown );
   EXPECT_EQ( told( Verb::disable, { "d2" } ),
              "there is no group \"d2\"; it is a port, and only groups can be disabled" );
   EXPECT_EQ( told( Verb::down, { "dry" } ), "group dry is in dry_run, so nothing of it is shut; "
                                             "remove dry_run from the configuration first" );
   EXPECT_EQ( kind( Verb::down, "d3" ), Kind::refused );
   EXPECT_EQ( told( Verb::down, { "safe" } ),
              "port safe is never shut: the configuration names it, or its LAG, in protect" );
   EXPECT_EQ( told( Verb::down, { "d2", "g" } ),
              "port d2 carries this machine's default route: shut, the machine may not be "
              "reachable any more; to shut it all the same, add --force" );
   EXPECT_EQ( kind( Verb::down, "g" ), Kind::refused );
   // A group is meant, whose only port is protected.
   EXPECT_EQ( told( Verb::down, { "d1" } ),
              "\"d1\" is the name of a port as well; this is about the group; port safe stays "
              "open: the configuration protects it" );
   EXPECT_EQ( told( Verb::down, { "g" }, true ), " -d1 -d2" );
   told( Verb::automatic, { "d1", "g" } );
   EXPECT_EQ( told( Verb::clear, { "g" } ),
              "nothing of group g must be shut, so there is nothing to clear" );
   kernel.remove( "d2" );
   runTurns();
   EXPECT_EQ( told( Verb::down, { "d2" } ),
              "there is no port d2 at present; it is shut once it exists" );
   kernel.add( "d2" );
   runTurns();
   EXPECT_EQ( takeActs(), " -d2" );
   told( Verb::automatic, { "d2" } );
   uplinksAre( false );
   takeActs();
   for ( Verb const verb : { Verb::disable, Verb::clear } ) {
      orders.isFull = store.isFull = true;
      ControlReply const reply = agent->handle(
          { .verb = verb, .targets = { "g" }, .holdFor = {}, .confirmWithin = {}, .reason = {} } );
      EXPECT_EQ( reply.kind, Kind::failed );
      EXPECT_EQ( reply.text, "nothing was done, since it can't be recorded in here: No space left "
                             "on device" );
      orders.isFull = store.isFull = false;
      runTurns();
      EXPECT_EQ( takeActs(), "" );
   }
}

// Somebody opens a port that is ordered down, and needs the default route on it.
TEST_F( SteerTest, onlyAForcedOrderIsHeldAgainstTheDefaultRoute ) {
   start();
   for ( bool const isForced : { false, true } ) {
      EXPECT_EQ( told( Verb::down, { "d1" }, isForced ), " -d1" );
      routes.routeIs( Prefix{}, kernel.index( "d1" ) );
      runTurns();
      kernel.set( "d1", true );
      runTurns();
      EXPECT_EQ( takeActs(), isForced ? " -d1" : "" );
      EXPECT_EQ( state(),
                 isForced ? "acting; d1 ordered, d2 open" : "acting; d1 default route, d2 open" );
      routes.routeIs( Prefix{}, 0 );
      runTurns();
      EXPECT_EQ( takeActs(), isForced ? "" : " -d1" );
      EXPECT_EQ( told( Verb::automatic, { "d1" } ), " +d1" );
   }
}

TEST_F( SteerTest, aClearedPortIsOpenUntilItsGroupsAreUp ) {
   start();
   uplinksAre( false );
   takeActs();
   EXPECT_EQ( told( Verb::clear, { "d1" } ), " +d1" );
   EXPECT_EQ( state(), "acting; d1 overridden, d2 shut" );
   restart();
   EXPECT_EQ( state(), "acting; d1 overridden, d2 shut" );
   // Whoever orders it down comes first.
   EXPECT_EQ( told( Verb::down, { "d1" } ), " -d1" );
   EXPECT_EQ( told( Verb::automatic, { "d1" } ), "" );
   EXPECT_EQ( told( Verb::clear, { "g" } ), " +d1 +d2" );
   uplinksAre( true );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
}

TEST_F( SteerTest, aLatchIsKeptUntilItIsCleared ) {
   groups[ 0 ].policy.autoRecover = false;
   groups.push_back( group( "h", { "u1" }, { "d2" } ) );
   start();
   uplinksAre( false );
   EXPECT_EQ( orders.book.latches.size(), 2u );
   uplinksAre( true );
   kernel.set( "d1", true );
   takeLines();
   runTurns();
   EXPECT_THAT( lines, HasSubstr( "port d1 shut again, someone had opened it: it is latched "
                                  "(auto_recover): group g is up, 2/2 up, min_links 1\n" ) );
   EXPECT_EQ( takeActs(), " -d1 -d2 -d1" );
   EXPECT_EQ( state(), "acting; d1 latched, d2 latched" );
   EXPECT_EQ( agent->roots().state->group( "g" )->wait(), WaitReason::latched );
   restart();
   EXPECT_EQ( state(), "acting; d1 latched, d2 latched" );
   EXPECT_EQ( told( Verb::clear, { "d1" } ), " +d1" );
   EXPECT_EQ( state(), "acting; d1 open, d2 latched" );
   kernel.carrier( "u1", false );
   restart();
   EXPECT_EQ( state(), "acting; d1 open, d2 shut" );
   EXPECT_EQ( told( Verb::clear, { "d2" } ), " +d2" );
   EXPECT_EQ( state(), "acting; d1 open, d2 overridden" );
   uplinkIs( "u1", true );
   EXPECT_EQ( state(), "acting; d1 open, d2 open" );
   EXPECT_TRUE( orders.book.isEmpty() );
   // Cleared while the group is down.
   uplinksAre( false );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   EXPECT_EQ( told( Verb::clear, { "d1" } ), " +d1" );
   uplinksAre( true );
   EXPECT_EQ( state(), "acting; d1 open, d2 latched" );
   // What is switched off holds nothing, and forgets its latch.
   EXPECT_EQ( told( Verb::disable, { "g" } ), " +d2" );
   EXPECT_EQ( told( Verb::automatic, { "g" } ), "" );
   EXPECT_EQ( takeActs(), "" );
   // What was not shut is not latched.
   routes.routeIs( Prefix{}, kernel.index( "d1" ) );
   runTurns();
   uplinksAre( false );
   uplinksAre( true );
   EXPECT_EQ( takeActs(), " -d2" );
   EXPECT_EQ( state(), "acting; d1 open, d2 latched" );
   groups[ 0 ].policy.autoRecover = true;
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " +d2" );
}

TEST_F( SteerTest, aGroupThatIsLeftAloneIsNotLatched ) {
   start();
   uplinksAre( false );
   groups.push_back( group( "h", { "u1", "nowhere" }, { "d1" } ) );
   groups[ 1 ].policy.autoRecover = false;
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   EXPECT_TRUE( orders.book.latches.empty() );
}

TEST_F( SteerTest, theFileSwitchesGroupsAndOrdersComeFirst ) {
   groups[ 0 ].policy.forceDown = true;
   start();
   EXPECT_EQ( takeActs(), " -d1 -d2" );
   EXPECT_EQ( state(), "ordered down; d1 ordered, d2 ordered" );
   EXPECT_EQ( told( Verb::clear, { "d1" } ),
              "port d1 is ordered down with group g; remove force_down from the configuration "
              "first" );
   EXPECT_EQ( told( Verb::disable, { "g" } ), " +d1 +d2" );
   EXPECT_EQ( told( Verb::automatic, { "g" } ), " -d1 -d2" );
   groups[ 0 ].policy.forceDown = groups[ 0 ].policy.enabled = false;
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   uplinksAre( false );
   EXPECT_EQ( takeActs(), "" );
   EXPECT_EQ( told( Verb::down, { "g", "d1" } ), " -d1 -d2" );
   // An order about a group or port that the file names no more is dropped.
   takeLines();
   groups = { group( "h", { "u1" }, { "d2" } ) };
   groups[ 0 ].policy.enabled = false;
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " +d1 +d2" );
   EXPECT_TRUE( orders.book.isEmpty() );
   EXPECT_THAT( lines,
                HasSubstr( "this order is dropped: the configuration does not name it any more" ) );
}

// A name may have spaces, and a reason anything.
TEST( OrderFileTest, keepsWhatItIsToldAndAsideWhatItCanNotRead ) {
   Directory const directory;
   OrderBook const book{
      .groups = { { "rack 1%",
                    { .kind = OrderKind::disable, .uid = 3, .since = 1.5, .reason = {} } },
                  { "-",
                    { .isForced = true, .since = 2, .until = 7200.25, .reason = "a\nb %20" } } },
      .ports = { { "d1", { .since = 3, .reason = "-" } } },
      .latches = { { "rack 1%", "d1" }, { "g", "d1" } }
   };
   {
      StateDirectory state( directory.path() );
      OrderFile file( state );
      EXPECT_TRUE( file.recall().book.isEmpty() );
      EXPECT_EQ( file.remember( book ), 0 );
   }
   std::string const path = directory.path() + "/orders";
   {
      StateDirectory state( directory.path() );
      OrderFile file( state );
      OrderStore::Recollection const recalled = file.recall();
      EXPECT_TRUE( recalled.book == book );
      EXPECT_EQ( recalled.trouble, "" );
   }
   for ( std::string const line :
         { "down port d9", "down port d9 uid 1 since 1 until x reason -",
           "disable port d9 uid 1 since 1 until 2 reason -",
           "down group d9 uid 1 since 1 until never forced", "latched g", "latched g d1 d2",
           "down group %4 uid 1 since 1 until 2 reason -", "down group g uid -1 since 1 until 2",
           "up group g uid 1 since 1 until 2 reason -", "" } ) {
      std::ofstream( path, std::ios::app ) << line << '\n';
      StateDirectory state( directory.path() );
      OrderFile file( state );
      OrderStore::Recollection const recalled = file.recall();
      EXPECT_TRUE( recalled.book == book ) << line;
      EXPECT_THAT( recalled.trouble, StartsWith( path +
                                                 " has 1 lines that can't be read; it is "
                                                 "kept as " +
                                                 path + ".unreadable-" ) )
          << line;
   }
   StateDirectory state( directory.path() );
   OrderFile file( state );
   std::ofstream( path ) << "ufdd-orders 2\n" + state.epoch();
   EXPECT_THAT( file.recall().trouble, StartsWith( path + " has version 2" ) );
   EXPECT_FALSE( state.has( "orders" ) );
}

} // namespace
} // namespace Ufdd
