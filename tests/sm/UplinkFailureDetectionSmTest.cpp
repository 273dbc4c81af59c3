#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"
#include "tests/sm/Scenario.h"
#include "tests/support/Failures.h"

#include <gmock/gmock.h>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

TEST( TopSm, EvaluatesEveryGroupInOrderWhenItIsMade ) {
   World world;
   world.apply( "group g; group h; group k; min h 0; disable g C; disable k D" );
   std::string expected;
   for ( auto at = world.config->groupIteratorConst(); at; ++at )
      expected += at->name() == "g"   ? "g+ C@4 g:down "
                  : at->name() == "h" ? "h+ h:up "
                                      : "k+ D@4 k:down ";
   expected.pop_back();
   check( world, { { "wait 4; start", expected, "g:down#0@0 h:up#0@0 k:down#0@0 | C@4 D@4" } } );
   EXPECT_TRUE( world.sm()->initialized() );
   EXPECT_TRUE( world.groupSm( 'k' )->initialized() );
   EXPECT_TRUE( world.groupSm( 'k' )->hasNotificationActive() );
   EXPECT_EQ( world.groupSm( 'k' )->name(), name( 'k' ) );
}

TEST( TopSm, GroupsComeAndGo ) {
   World world;
   check( world,
          { { "start", "", "|" },
            { "group g; disable g C; disable g D; wait 1", "g+ g:down C@0 D@0",
              "g:down#0@0 | C@0 D@0" },
            { "group h; disable h C", "h+ h:down C- C@1", "g:down#0@0 h:down#0@0 | C@1 D@0" },
            // What h holds as well is released; h writes it back at its next check.
            { "release g D; ungroup g", "D- C- g-", "h:down#0@0 |" },
            { "min h 2", "C@1", "h:down#0@0 | C@1" },
            { "ungroup h; ungroup h", "C- h-", "|" } } );
}

TEST( TopSm, AGroupIsCleanedUpThenItsMachineGoesThenItsRecord ) {
   World world;
   world.apply( "start; group g; disable g C" );
   std::string seen;
   world.onHeard = [ & ]( std::string const& what ) {
      seen += what + ( world.groupSm( 'g' ) ? " machine" : "" ) +
              ( world.status->group( name( 'g' ) ) ? " record; " : "; " );
   };
   world.apply( "ungroup g" );
   EXPECT_EQ( seen, "C- machine record; g-; " );
   seen.clear();
   // Made the other way round.
   world.apply( "group g" );
   EXPECT_EQ( seen, "g+ record; g:down record; " );
   world.onHeard = nullptr;
}

TEST( TopSm, TouchesNoRecordOfAGroupThatIsNotConfigured ) {
   World world;
   world.status->groupIs( name( 'k' ) );
   check( world, { { "start; group g", "g+ g:down", "g:down#0@0 k:unknown#0@0 |" } } );
   world.sm()->handleGroup( name( 'k' ) );
   EXPECT_EQ( world.heard(), "k-" );
   EXPECT_EQ( world.state(), "g:down#0@0 |" );
   // A group that has its machine is not evaluated again.
   Traced traced;
   world.sm()->handleGroup();
   EXPECT_EQ( traced.lines(), std::vector< std::string >{ "handleGroup handleGroup( g )" } );
}

TEST( TopSm, AGroupMachineIsMadeFromTheSameFourObjectsOrNotAtAll ) {
   World world;
   world.apply( "group g; start" );
   auto const group = world.groupSm( 'g' );
   auto const config = GroupConfig::GroupConfigIs( name( 'g' ) );
   auto const record = GroupStatus::GroupStatusIs( name( 'g' ) );
   auto const dir = Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   auto const cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   auto const expectNameInUse = [ & ]( char const* parameter, auto const* wanted,
                                       auto const* current, auto const&... arguments ) {
      try {
         world.sm()->uplinkFailureDetectionGroupSmIs( arguments... );
         ADD_FAILURE() << parameter << ": nothing thrown";
      } catch ( Zet::NameInUseException const& failure ) {
         EXPECT_EQ( failure.what(),
                    std::string( "Reinstantiating the pointer interface where constructor "
                                 "parameter attribute " ) +
                        parameter + " has a different value of " +
                        Zet::valueToStrepOfPtr( wanted ).c_str() + " than the current value of " +
                        Zet::valueToStrepOfPtr( current ).c_str() + " not allowed" );
         EXPECT_EQ( failure.frameworkId(), 48u );
      }
   };
   Zet::Ptr< GroupConfig const > const sameConfig = group->groupConfig();
   Zet::Ptr< GroupStatus > const sameRecord = group->groupStatus();
   expectNameInUse( "_groupConfig", config.get(), sameConfig.get(), config, record, dir, cause );
   expectNameInUse( "_groupStatus", record.get(), sameRecord.get(), sameConfig, record, dir,
                    cause );
   expectNameInUse( "_ethIntfStatusDir", dir.get(), world.dir.get(), sameConfig, sameRecord, dir,
                    cause );
   expectNameInUse( "_causeStatus", cause.get(), world.cause.get(), sameConfig, sameRecord,
                    world.dir, cause );
   EXPECT_EQ( world.sm()->uplinkFailureDetectionGroupSmIs( sameConfig, sameRecord, world.dir,
                                                           world.cause ),
              group );
}

TEST( TopSm, ARecordThatWasReplacedIsANameInUse ) {
   World world;
   world.apply( "group g; start" );
   Zet::Ptr< GroupStatus > const old = world.status->groupDel( name( 'g' ) );
   EXPECT_THROW( world.sm()->handleGroup( name( 'g' ) ), Zet::NameInUseException );
   // While it is switched off the group is replaced; the news of a third reaches it.
   world.sm()->hasNotificationActiveIs( false );
   world.apply( "ungroup g" );
   world.sm()->hasNotificationActiveIs( true );
   Tests::CollectedFailures const failures;
   world.apply( "group g" );
   ASSERT_EQ( failures.texts.size(), 1u );
   EXPECT_THAT( failures.texts.front(),
                testing::StartsWith( "/config: a handler of group failed: Reinstantiating the "
                                     "pointer interface where constructor parameter attribute "
                                     "_groupConfig has a different value of GroupConfig(0x" ) );
   world.apply( "ungroup g; group g" );
   EXPECT_EQ( failures.texts.size(), 1u );
}

TEST( TopSm, SwitchedOffItReactsToNothing ) {
   World world;
   world.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
   check( world, { { "down A; up A", "C@0 g:down g#1 C- g:up", "g:up#1@0 |" } } );
   world.sm()->hasNotificationActiveIs( false );
   EXPECT_FALSE( world.groupSm( 'g' )->hasNotificationActive() );
   check( world, { { "down A; min g 2; appear Z; disable g D; group h", "", "g:up#1@0 |" } } );
   world.sm()->hasNotificationActiveIs( true );
   check( world, { { "vanish Z", "D@0 C@0 g:down g#2", "g:down#2@0 | C@0 D@0" },
                   { "min g 1; up A", "D- C- g:up", "g:up#2@0 |" },
                   { "group k", "k+ k:down", "g:up#2@0 k:down#0@0 |" } } );
}

TEST( TopSm, ZombiesReactToNothing ) {
   World world;
   world.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
   char const* const all = "down A; min g 2; appear Z; disable g D; group h; ungroup h; vanish Z";
   // What the objects do after the machine has gone.
   world.apply( "stop" );
   check( world, { { all, "", "g:up#0@0 |" },
                   { "min g 1; start", "D@0 C@0 g:down", "g:down#0@0 | C@0 D@0" } } );
   world.groupSm( 'g' )->zetDoZombieReactors( true );
   EXPECT_TRUE( world.groupSm( 'g' )->zetMarkedForDeletion() );
   check( world, { { "min g 0; appear Z; disable g E", "", "g:down#0@0 | C@0 D@0" },
                   // Its children go on until they are ended themselves.
                   { "up A", "D- C- g:up", "g:up#0@0 |" } } );
   world.groupSm( 'g' )->zetDoZombieReactors( false );
   check( world, { { "min g 2", "D@0 E@0 C@0 g:down g#1", "g:down#1@0 | C@0 D@0 E@0" } } );
}

} // namespace

} // namespace Scenario
