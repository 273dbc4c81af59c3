#include "tests/agent/AgentTest.h"
#include "tests/agent/TextMatchers.h"

namespace Ufdd {
namespace {

using Word = ControlRequest::Report::Word;

class UplinkChecksTest : public AgentTest {
 protected:
   UplinkChecksTest() {
      check( "a", "u1" );
      groups = { group( "g", { "u1", "u2" }, { "d1" } ) };
      groups[ 0 ].config->minLinksIs( 2 );
   }
   CheckSettings& check( std::string const& name, char const* uplink ) {
      CheckSettings& added = checks.emplace_back();
      added.name = name;
      added.uplinks = { Kelnet::IntfId( uplink ) };
      return added;
   }
   ControlReply report( std::vector< ControlRequest::Report > reports ) {
      ControlRequest request;
      request.verb = ControlRequest::Verb::report;
      request.reports = std::move( reports );
      ControlReply const reply = agent->handle( request );
      runTurns();
      return reply;
   }
   void report( std::string const& name, Word word, int times = 1 ) {
      for ( int i = 0; i < times; ++i )
         EXPECT_EQ( report( { { name, word, "why" } } ).kind, ControlReply::Kind::done );
   }
   CheckState const& state( char const* name ) { return *agent->roots().state->check( name ); }
   bool isUp( char const* uplink ) { return agent->detector().isUp( Kelnet::IntfId( uplink ) ); }
};

TEST_F( UplinkChecksTest, countsResultsInARow ) {
   start();
   EXPECT_EQ( state( "a" ).verdict(), CheckVerdict::starting );
   report( "a", Word::unknown, 5 );
   report( "a", Word::down, 2 );
   report( "a", Word::unknown );
   report( "a", Word::down, 2 );
   EXPECT_TRUE( isUp( "u1" ) );
   EXPECT_EQ( takeActs(), "" );
   takeLines();
   report( "a", Word::down, 7 );
   EXPECT_EQ( takeLines(), "u1 check a failed: why, 3 in a row\n"
                           "group g: up -> down, 1/2 up, min_links 2: uplink u1 check a failed: "
                           "why, 3 in a row\n"
                           "port d1 shut: group g is down, 1/2 up, min_links 2\n" );
   EXPECT_EQ( agent->roots().state->link( "u1" )->condition(), LinkCondition::failedCheck );
   EXPECT_EQ( state( "a" ).run(), 3u );
   // A check that passes makes up for no carrier, and a link that is made anew is none that passes.
   uplinkIs( "u1", false );
   report( "a", Word::up, 2 );
   EXPECT_FALSE( isUp( "u1" ) );
   report( "a", Word::down, 3 );
   kernel.remove( "u1" );
   kernel.add( "u1" );
   runTurns();
   EXPECT_FALSE( isUp( "u1" ) );
   takeLines();
   report( "a", Word::up, 2 );
   EXPECT_THAT( lines, StartsWith( "u1 check a passes: why, 2 in a row\n" ) );
   EXPECT_EQ( takeActs(), " -d1 +d1" );
}

TEST_F( UplinkChecksTest, takesSilenceForUnknownButNotItsOwn ) {
   checks[ 0 ].onUnknown = CheckSettings::OnUnknown::down;
   start();
   // Nobody has ever reported.
   pass( 100 );
   EXPECT_TRUE( isUp( "u1" ) );
   report( "a", Word::up, 2 );
   // ufdd was stopped, and so was perhaps whoever reports.
   simulatedNow += 50;
   runTurns();
   pass( 2.9 );
   EXPECT_TRUE( isUp( "u1" ) );
   pass( 0.2 );
   EXPECT_FALSE( isUp( "u1" ) );
   EXPECT_EQ( state( "a" ).verdict(), CheckVerdict::unknown );
   EXPECT_EQ( state( "a" ).reason(), "no report for 3 s" );
   report( "a", Word::up, 2 );
   EXPECT_TRUE( isUp( "u1" ) );
}

TEST_F( UplinkChecksTest, opensNoPortWhenUfddIsKilled ) {
   check( "b", "u2" ).startsUp = false;
   start();
   report( "b", Word::up, 2 );
   report( "a", Word::down, 3 );
   EXPECT_EQ( takeActs(), " -d1 +d1 -d1" );
   restart();
   pass( 100 );
   EXPECT_TRUE( isUp( "u2" ) && !isUp( "u1" ) );
   report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   EXPECT_FALSE( isUp( "u1" ) );
   EXPECT_EQ( takeActs(), "" );
   // A new name begins anew, and a verdict ends with its name.
   report( "b", Word::up, 2 );
   checks[ 0 ].name = "c";
   agent->reload( config(), "f" );
   runTurns();
   EXPECT_THAT(
       lines,
       HasSubstr( "check a ends: it is not in the configuration any more; its failure counts "
                  "no more\n" ) );
   EXPECT_EQ( takeActs(), " +d1" );
   report( "c", Word::down, 3 );
   checks[ 0 ].fall = 50;
   agent->reload( config(), "f" );
   checks.clear();
   EXPECT_EQ( takeActs(), " -d1" );
   agent->reload( config(), "f" );
   EXPECT_EQ( takeActs(), " +d1" );
   runTurns();
   EXPECT_EQ( agent->roots().state->checkMembers().count(), 0u );
}

TEST_F( UplinkChecksTest, waitsWhereAllFailAtOnce ) {
   check( "b", "u2" ).fall = 1;
   start();
   report( { { "a", Word::up, "" }, { "b", Word::up, "" } } );
   report( { { "a", Word::up, "" }, { "b", Word::up, "" } } );
   // One fails alone.
   report( "a", Word::down, 3 );
   EXPECT_EQ( takeActs(), " -d1" );
   report( "a", Word::up, 2 );
   EXPECT_EQ( takeActs(), " +d1" );
   // The first of both seems to fail alone; the second one tells.
   report( "b", Word::down );
   EXPECT_EQ( takeActs(), " -d1" );
   pass( 0.4 );
   takeLines();
   report( "a", Word::down, 3 );
   EXPECT_EQ( takeActs(), " +d1" );
   EXPECT_THAT(
       lines,
       HasSubstr( "all checks failed at once, and no carrier was lost: a, b; the fault may be "
                  "in this machine, so they count only in 30 s" ) );
   EXPECT_EQ( state( "a" ).waitTime(), simulatedNow + 30 );
   EXPECT_TRUE( state( "a" ).isUp() );
   EXPECT_EQ( state( "a" ).verdict(), CheckVerdict::down );
   restart();
   EXPECT_TRUE( isUp( "u1" ) );
   for ( int i = 0; i < 3; ++i )
      report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   report( "b", Word::up );
   EXPECT_EQ( takeActs(), " -d1" );
   report( { { "a", Word::up, "" }, { "b", Word::up, "" } } );
   report( "a", Word::up );
   takeActs();
   for ( int i = 0; i < 3; ++i )
      report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   for ( int i = 0; i < 29; ++i ) {
      pass( 1 );
      report( { { "a", Word::down, "" }, { "b", Word::down, "" } } );
   }
   EXPECT_EQ( takeActs(), "" );
   pass( 1.1 );
   EXPECT_EQ( takeActs(), " -d1" );
   // With a lost carrier, both count at once.
   for ( int i = 0; i < 2; ++i )
      report( { { "a", Word::up, "" }, { "b", Word::up, "" } } );
   uplinkIs( "u2", false );
   uplinkIs( "u2", true );
   takeActs();
   for ( int i = 0; i < 3; ++i )
      report( { { "b", Word::down, "" }, { "a", Word::down, "" } } );
   EXPECT_EQ( takeActs(), " -d1" );
}

TEST_F( UplinkChecksTest, refusesReportsThatNobodyAskedFor ) {
   CheckSettings& gateway = check( "gateway", "u2" );
   gateway.kind = CheckSettings::Kind::neighbour;
   gateway.address = Prefix::readAddress( "10.0.0.1" );
   start();
   auto const refusal = [ this ]( std::string const& name ) {
      ControlReply const reply = report( { { "a", Word::down, "" }, { name, Word::down, "" } } );
      EXPECT_EQ( reply.kind,
                 name == "gateway" ? ControlReply::Kind::refused : ControlReply::Kind::unknown );
      return reply.text;
   };
   EXPECT_EQ( refusal( "gateway" ),
              "check \"gateway\" takes no reports: ufdd asks its neighbour itself; to "
              "report, make it kind = \"reported\"" );
   EXPECT_EQ( refusal( "gatewy" ), "there is no check \"gatewy\"; did you mean \"gateway\"?" );
   EXPECT_EQ( refusal( std::string( 4000, 'x' ) ).substr( 0, 21 ), "there is no check \"xx" );
   // None of these reports counts.
   EXPECT_EQ( state( "a" ).result(), CheckResult::none );
}

} // namespace
} // namespace Ufdd
