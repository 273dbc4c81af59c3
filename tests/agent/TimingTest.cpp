#include "agent/Agent.h"
#include "platform/zet/Clock.h"
#include "tests/agent/RememberedHere.h"
#include "tests/agent/SimulatedKernel.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {
namespace {

double simulatedNow = 0;

// The agent over simulated links and a simulated clock, with ways to change its configuration.
class TimingTest : public testing::Test, public Log {
 protected:
   TimingTest() {
      simulatedNow = 1000;
      Zet::clockIs( [] { return simulatedNow; } );
      for ( char const* const name : { "u1", "u2", "d1", "d2" } )
         kernel.add( name );
   }
   ~TimingTest() override { Zet::clockIs( nullptr ); }
   void line( std::string_view text ) override { lines += std::string( text ) + '\n'; }

   GroupSettings& group( std::string const& name, std::initializer_list< std::string_view > monitor,
                         std::initializer_list< std::string_view > disable,
                         unsigned int minLinks = 1 ) {
      return groups.emplace_back( name, monitor, disable, minLinks );
   }
   void start() {
      agent.emplace( kernel, ownership, *this );
      agent->start( groups, kernel );
      settle();
      lines.clear();
   }
   Detector::Difference reload() {
      auto const difference = agent->reload( groups );
      settle();
      return difference;
   }
   void settle() {
      for ( int i = 0; i < 3; ++i ) {
         kernel.deliver();
         agent->settle();
      }
   }
   void carrierIs( char const* name, bool carrier ) {
      kernel.carrier( name, carrier );
      settle();
   }
   // Lets that time pass; the agent is woken when it asked to be.
   void pass( double seconds ) {
      double const end = simulatedNow + seconds;
      while ( auto const next = agent->nextTime() ) {
         if ( *next > end )
            break;
         simulatedNow = *next;
         settle();
      }
      simulatedNow = end;
      settle();
   }
   std::string takeActs() { return std::exchange( kernel.acts, "" ); }
   std::string takeLines() { return std::exchange( lines, "" ); }
   bool said( std::string const& text ) const { return lines.find( text ) != std::string::npos; }

   SimulatedKernel kernel;
   RememberedHere ownership;
   std::string lines;
   std::vector< GroupSettings > groups;
   std::optional< Agent > agent;
};

TEST_F( TimingTest, downDelayHidesWhatIsOverBefore ) {
   group( "g", { "u1" }, { "d1" } ).policy.downDelay = 2;
   start();
   carrierIs( "u1", false );
   pass( 1.5 );
   carrierIs( "u1", true );
   EXPECT_EQ( takeLines(),
              "group g: up -> down, 0/1 up, min_links 1: uplink u1 lost carrier\n"
              "group g: down_delay: its ports are shut in 2 s unless it is up again before\n"
              "group g: down -> up, 1/1 up, min_links 1: uplink u1 is up\n"
              "group g: was down for only 1.5 s, hidden by down_delay (1 times so far)\n" );
   pass( 10 );
   EXPECT_EQ( takeActs(), "" );
   carrierIs( "u1", false );
   pass( 1.9 );
   EXPECT_EQ( takeActs(), "" );
   pass( 0.1 );
   EXPECT_EQ( takeActs(), " -d1" );
   carrierIs( "u1", true );
   EXPECT_EQ( takeActs(), " +d1" );
   // Over within a turn: the delay begins again.
   carrierIs( "u1", false );
   pass( 1 );
   kernel.carrier( "u1", true );
   carrierIs( "u1", false );
   pass( 1.9 );
   EXPECT_EQ( takeActs(), "" );
   carrierIs( "u1", true );
   EXPECT_TRUE( said( "hidden by down_delay (3 times so far)" ) ) << lines;
}

TEST_F( TimingTest, restartNeitherForgetsADelayNorBlinks ) {
   auto& policy = group( "g", { "u1" }, { "d1" } ).policy;
   policy.recoveryDelay = 5;
   policy.downDelay = 3;
   start();
   carrierIs( "u1", false );
   pass( 3 );
   EXPECT_EQ( takeActs(), " -d1" );
   start();
   pass( 60 );
   carrierIs( "u1", true );
   start();
   EXPECT_EQ( takeActs(), "" );
   pass( 5 );
   EXPECT_EQ( takeActs(), " +d1" );
}

TEST_F( TimingTest, dryRunOnlyTells ) {
   auto& dry = group( "g", { "u1" }, { "d1", "d2" } );
   dry.policy.dryRun = true;
   group( "h", { "u2" }, { "d2" } );
   start();
   carrierIs( "u1", false );
   EXPECT_EQ( takeActs(), "" );
   EXPECT_TRUE( said( "group g: dry_run, else ports would be shut now: d" ) ) << lines;
   carrierIs( "u2", false );
   EXPECT_EQ( takeActs(), " -d2" );
   groups[ 0 ].policy.dryRun = false;
   EXPECT_EQ( reload().changed, 1u );
   EXPECT_EQ( takeActs(), " -d1" );
   groups[ 0 ].policy.dryRun = true;
   reload();
   EXPECT_EQ( takeActs(), " +d1" );
   EXPECT_TRUE( said( "port d1 released: not held, though group g is down, 0/1 up, min_links 1, "
                      "dry_run" ) )
       << lines;
}

TEST_F( TimingTest, reloadActsOnTheDifferenceAlone ) {
   group( "a", { "u1" }, { "d1" } );
   group( "b", { "u2" }, { "d2" } );
   start();
   carrierIs( "u1", false );
   EXPECT_EQ( takeActs(), " -d1" );
   takeLines();
   // Nothing, then ports that come and go, an uplink that existed all along, another name.
   auto difference = reload();
   EXPECT_EQ( difference.added + difference.changed + difference.removed, 0u );
   EXPECT_EQ( takeActs() + takeLines(), "" );
   for ( char const* const name : { "u3", "d3", "d4" } )
      kernel.add( name );
   settle();
   groups.clear();
   group( "a", { "u1" }, { "d1", "d3" } );
   group( "b", { "u3" }, { "d2" } );
   group( "c", { "u2", "u3" }, { "d4" }, 2 );
   difference = reload();
   EXPECT_EQ( difference.added, 1u );
   EXPECT_EQ( difference.changed, 2u );
   EXPECT_EQ( takeActs(), " -d3" );
   EXPECT_EQ( takeLines(), "group c: unknown -> up, 2/2 up, min_links 2: configured\n"
                           "port d3 shut: group a is down, 0/1 up, min_links 1\n" );
   // A port that goes from one down group to another stays shut; what no group lists is opened.
   groups.clear();
   group( "z", { "u1" }, { "d1" } );
   EXPECT_EQ( reload().removed, 3u );
   EXPECT_EQ( takeActs(), " +d3" );
   EXPECT_FALSE( kernel.isUp( "d1" ) );
   carrierIs( "u1", true );
   EXPECT_EQ( takeActs(), " +d1" );
   EXPECT_EQ( agent->summary(), "1 group, 0 down; ports held: 0" );
   EXPECT_EQ( agent->links().link( Kelnet::IntfId( "d3" ) ), nullptr ) << "nobody asks for it";
   kernel.carrier( "u3", false );
   group( "b", { "u3" }, { "d3" } );
   reload();
   EXPECT_EQ( takeActs(), " -d3" );
}

TEST_F( TimingTest, reloadPassesThroughNoThirdState ) {
   group( "up", { "u1" }, { "d1" } );
   group( "down", { "u1", "gone" }, { "d2" }, 2 );
   start();
   EXPECT_EQ( takeActs(), " -d2" );
   groups.clear();
   group( "up", { "u2", "u3" }, { "d1" }, 2 );
   group( "down", { "u2", "missing" }, { "d2" }, 2 );
   kernel.add( "u3" );
   settle();
   auto const states = [ & ] {
      std::string text;
      for ( std::string const& line : agent->statusLines() )
         text += line.substr( 0, line.find( "; uplinks" ) );
      return text;
   };
   std::string const before = states();
   EXPECT_EQ( reload().changed, 2u );
   EXPECT_EQ( states(), before );
   EXPECT_TRUE( agent->statusLines()[ 1 ].ends_with( "; uplinks: missing absent, u2 up" ) );
   EXPECT_EQ( takeActs() + takeLines(), "" );
}

} // namespace
} // namespace Ufdd
