#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"
#include "tests/support/Failures.h"
#include "tests/support/Scenario.h"

#include <gmock/gmock.h>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

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
         EXPECT_EQ( failure.what(), nameInUse( parameter, Zet::valueToStrep( wanted ),
                                               Zet::valueToStrep( current ) ) );
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

TEST( TopSm, SwitchedOffItReactsToNothing ) {
   World world;
   world.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
   check( world, { { "down A; up A", "C@0 g:down g#1 C- g:up", "g:up#1@0 |" } } );
   EXPECT_TRUE( world.sm()->initialized() && world.groupSm( 'g' )->initialized() );
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
                   { "up A", "D- C- g:up", "g:up#0@0 |" },
                   { "min g 1; down A", "D@0 E@0 C@0 g:down g#1", "g:down#1@0 | C@0 D@0 E@0" },
                   { "up A", "D- E- C- g:up", "g:up#1@0 |" } } );
   world.groupSm( 'g' )->zetDoZombieReactors( false );
   check( world, { { "min g 2", "D@0 E@0 C@0 g:down g#2", "g:down#2@0 | C@0 D@0 E@0" } } );
}

} // namespace

} // namespace Scenario
