#include "tests/agent/AgentTest.h"
#include "tests/agent/NetworkTest.h"
#include "tests/agent/TextMatchers.h"

#include <chrono>

namespace Ufdd {
namespace {

// Neighbours that answer at once, unless they are silent.
struct SimulatedNeighbours final : Neighbours {
   std::string ask( std::uint32_t, Prefix const& ) override {
      ++asked;
      return refusal;
   }
   bool hasAnswered( std::uint32_t, Prefix const& ) override { return !areSilent; }

   unsigned int asked = 0;
   bool areSilent = false;
   std::string refusal;
};

// A check of a neighbour of u1, asked every 0.08 s.
CheckSettings
gateway( double timeout ) {
   CheckSettings check;
   check.name = "gateway";
   check.kind = CheckSettings::Kind::neighbour;
   check.uplinks = { Kelnet::IntfId( "u1" ) };
   check.address = Prefix::readAddress( "10.0.0.1" );
   check.interval = 0.08;
   check.timeout = timeout;
   return check;
}

TEST_F( AgentTest, asksTheNeighboursOfUplinksThatHaveTheirCarrier ) {
   checks = { gateway( 0.06 ) };
   SimulatedNeighbours neighbours;
   agent->neighboursAre( neighbours );
   groups = { group( "g", { "u1" }, { "d1" } ) };
   start();
   pass( 10 );
   EXPECT_EQ( agent->roots().state->check( "gateway" )->verdict(), CheckVerdict::up );
   EXPECT_GT( neighbours.asked, 120u );
   EXPECT_LT( neighbours.asked, 130u );
   takeLines();
   neighbours.areSilent = true;
   pass( 0.15 );
   EXPECT_EQ( takeActs(), "" );
   pass( 0.16 );
   EXPECT_EQ( takeActs(), " -d1" );
   EXPECT_THAT( lines,
                StartsWith( "u1 check gateway failed: no answer from 10.0.0.1, 3 in a row\n" ) );
   // It is not asked without a carrier. Once that is back, two answers in a row open the port.
   neighbours.areSilent = false;
   pass( 1 );
   EXPECT_EQ( takeActs(), " +d1" );
   uplinkIs( "u1", false );
   EXPECT_EQ( takeActs(), " -d1" );
   neighbours.asked = 0;
   pass( 10 );
   EXPECT_EQ( neighbours.asked, 0u );
   uplinkIs( "u1", true );
   EXPECT_EQ( takeActs(), "" );
   pass( 0.2 );
   EXPECT_EQ( takeActs(), " +d1" );
   // A neighbour that can't be asked is as it was before the carrier was lost.
   neighbours.refusal = "its entry is permanent";
   uplinkIs( "u1", false );
   uplinkIs( "u1", true );
   pass( 1 );
   EXPECT_EQ( takeActs(), " -d1 +d1" );
   EXPECT_EQ( agent->roots().state->check( "gateway" )->verdict(), CheckVerdict::unknown );
}

TEST_F( AgentTest, judgesANeighbourThatMayTakeAWholeInterval ) {
   checks = { gateway( 0.08 ) };
   SimulatedNeighbours neighbours;
   neighbours.areSilent = true;
   agent->neighboursAre( neighbours );
   groups = { group( "g", { "u1" }, { "d1" } ) };
   start();
   // A turn that is late asks late, and the next one is not.
   for ( unsigned int i = 0; i < checks[ 0 ].fall; ++i ) {
      simulatedNow = agent->nextTime() + ( i % 2 ? 0 : 0.001 );
      runTurns();
   }
   EXPECT_EQ( takeActs(), " -d1" );
}

class NeighbourTest : public NetworkTest {};

TEST_F( NeighbourTest, seesThatANeighbourIsSilentWhileTheCarrierStays ) {
   plug( { "u1", "u2", "u3", "d1", "d2", "d3" } );
   auto const inOther = [ this ]( std::string const& arguments ) {
      std::string const command = "nsenter --net=" + otherNamespace() + " ip " + arguments;
      ASSERT_EQ( std::system( command.c_str() ), 0 ) << command;
   };
   for ( std::string const n : { "1", "2", "3" } ) {
      std::string const network = n == "2" ? "fd00:9::" : "10.9." + n + ".";
      std::string const rest = n == "2" ? "/64 nodad dev u" + n : "/24 dev u" + n;
      ip( "link set u" + n + "-far netns " + otherNamespace() );
      inOther( "link set u" + n + "-far up" );
      inOther( "addr add " + network + "2" + rest + "-far" );
      ip( "addr add " + network + "1" + rest );
   }
   // One that is never asked.
   ip( "neigh add 10.9.3.2 lladdr 02:00:00:00:00:01 nud permanent dev u3" );
   std::string config;
   for ( std::string const n : { "1", "2", "3" } )
      config += group( "g" + n, "'u" + n + "'", "'d" + n + "'" );
   for ( std::string const n : { "1", "2", "3" } )
      config += "[[check]]\nname = 'c" + n + "'\nuplinks = [ 'u" + n +
                "' ]\nkind = 'neighbour'\ninterval = 0.08\ntimeout = 0.06\naddress = '" +
                ( n == "2" ? "fd00:9::2" : "10.9." + n + ".2" ) + "'\n";
   ReadyUfdd const ufdd( arguments( "mass_failure_delay = 0\n" + config ) );
   ASSERT_TRUE( eventually( [ & ] {
      return ufdd.wrote( "u1 check c1 passes" ) && ufdd.wrote( "u2 check c2 passes" ) &&
             ufdd.wrote( "u3 check c3 is unknown: the kernel never asks it" );
   } ) )
       << ufdd.output();
   for ( std::string const n : { "1", "2" } ) {
      inOther( "addr flush dev u" + n + "-far" );
      auto const start = std::chrono::steady_clock::now();
      EXPECT_TRUE( haveLink( { "d" + n + "-far" }, false ) ) << ufdd.output();
      std::chrono::duration< double > const seconds = std::chrono::steady_clock::now() - start;
      RecordProperty( "seconds" + n, std::to_string( seconds.count() ) );
      // interval times fall, and timeout; and what a busy machine adds.
      EXPECT_LT( seconds.count(), 0.3 + 1.7 );
   }
   EXPECT_TRUE( hasLink( "d3-far" ) && hasLink( "u1" ) && hasLink( "u2" ) ) << ufdd.output();
   // It is back, though the kernel has given up on it.
   inOther( "addr add 10.9.1.2/24 dev u1-far" );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
}

} // namespace
} // namespace Ufdd
