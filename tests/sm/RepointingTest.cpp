#include "tests/support/Scenario.h"

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// A running group that is up by A, with C downstream, and whose machines are given other objects.
class Repointing : public testing::Test {
 protected:
   Repointing() {
      world_.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
      world_.heard();
   }

   UplinkFailureDetectionGroupSm& group() { return *world_.groupSm( 'g' ); }

   World world_;
};

TEST_F( Repointing, AnotherConfigurationOfTheGroupIsCheckedAtOnce ) {
   auto const config = GroupConfig::GroupConfigIs( name( 'g' ) );
   config->intfsToDisableIs( intf( 'D' ), true );
   group().groupConfigIs( config );
   EXPECT_EQ( group().groupConfig(), config.get() );
   EXPECT_EQ( world_.heard(), "D@0 g:down g#1" );
   config->minLinksIs( 0 );
   EXPECT_EQ( world_.heard(), "D- g:up" );
   // The old one is heard no more.
   check( world_, { { "min g 5; disable g E", "", "g:up#1@0 |" } } );
}

TEST_F( Repointing, AMachineWithoutConfigurationDirectoryOrCauseDoesNothing ) {
   group().groupConfigDel();
   EXPECT_EQ( group().groupConfig(), nullptr );
   EXPECT_EQ( group().name(), "" );
   check( world_, { { "down A; appear Z; vanish Z; min g 2", "", "g:up#0@0 |" } } );
   group().groupConfigIs( world_.config->group( name( 'g' ) ) );
   check( world_, { { "min g 3", "C@0 g:down g#1", "g:down#1@0 | C@0" } } );

   group().ethIntfStatusDirDel();
   check( world_, { { "up A; min g 1; appear Z", "", "g:down#1@0 | C@0" } } );
   group().ethIntfStatusDirIs( world_.dir );
   check( world_, { { "vanish Z", "C- g:up", "g:up#1@0 |" } } );

   group().causeStatusDel();
   check( world_, { { "down A; min g 2", "", "g:up#1@0 |" } } );
   group().causeStatusIs( world_.cause );
   check( world_, { { "min g 1", "C@0 g:down g#2", "g:down#2@0 | C@0" } } );
   // Its machine is found and cleaned up by its name whatever it was given.
   group().groupConfigDel();
   check( world_, { { "ungroup g", "g-", "| C@0" } } );
   EXPECT_EQ( world_.groupSm( 'g' ), nullptr );
}

TEST_F( Repointing, AChildIsGivenAnotherStatus ) {
   auto const child = group().uplinkFailureDetectionIntfSm( intf( 'A' ) );
   Traced traced;
   auto const status = Interface::EthIntfStatus::EthIntfStatusIs( intf( 'A' ) );
   child->ethIntfStatusIs( status );
   child->ethIntfStatusIs( status );
   EXPECT_EQ( traced.recounts( 'g' ), 1u );
   status->operStatusIs( Interface::OperStatus::up );
   EXPECT_EQ( traced.recounts( 'g' ), 1u );
   world_.apply( "down A; up A" );
   EXPECT_EQ( traced.recounts( 'g' ), 0u );
   child->ethIntfStatusDel();
   EXPECT_EQ( child->intfId(), Kelnet::IntfId() );
   status->operStatusIs( Interface::OperStatus::down );
   EXPECT_EQ( traced.recounts( 'g' ), 0u );
   // The group keeps it under its interface, and drops it.
   EXPECT_EQ( world_.children( 'g' ), "A" );
   world_.apply( "unmonitor g A" );
   EXPECT_EQ( world_.children( 'g' ), "" );
}

TEST_F( Repointing, MachinesThatWatchNothingGoWithTheirOwners ) {
   world_.apply( "group h; group k; appear B; appear C; appear D; monitor g B; monitor g C; "
                 "monitor g D" );
   std::vector< Zet::Ptr< UplinkFailureDetectionIntfSm > > children;
   for ( char const uplink : { 'A', 'B', 'C', 'D' } ) {
      children.push_back( group().uplinkFailureDetectionIntfSm( intf( uplink ) ) );
      children.back()->ethIntfStatusDel();
   }
   std::vector< Zet::Ptr< UplinkFailureDetectionGroupSm > > groups;
   for ( char const letter : { 'g', 'h', 'k' } ) {
      groups.push_back( world_.groupSm( letter ) );
      groups.back()->groupConfigDel();
   }
   world_.apply( "stop" );
   for ( auto const& groupSm : groups )
      EXPECT_EQ( groupSm->references(), 1u );
   groups.clear();
   for ( auto const& child : children ) {
      EXPECT_EQ( child->references(), 1u );
      EXPECT_EQ( child->groupSm(), nullptr );
   }
}

TEST_F( Repointing, TheTopMachineHearsOfAnotherConfigurationFromThenOn ) {
   auto const config = configFactory( "other" );
   config->groupIs( name( 'h' ) );
   world_.sm()->configIs( config );
   EXPECT_EQ( world_.heard(), "" );
   config->groupIs( name( 'k' ) );
   EXPECT_EQ( world_.heard(), "k+ k:down" );
   world_.sm()->handleGroup();
   EXPECT_EQ( world_.heard(), "h+ h:down" );
   world_.sm()->configDel();
   EXPECT_EQ( world_.sm()->config(), nullptr );
   config->groupDel( name( 'k' ) );
   world_.sm()->handleInitialized();
   world_.sm()->handleGroup( name( 'k' ) );
   check( world_, { { "ungroup g", "", "g:up#0@0 h:down#0@0 k:down#0@0 |" } } );
}

} // namespace

} // namespace Scenario
