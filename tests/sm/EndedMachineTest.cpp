#include "tests/support/Failures.h"
#include "tests/support/Scenario.h"

#include <functional>
#include <string>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// A running group with the uplink A and the ports D and C, which are written in that order.
class EndedMachine : public testing::Test {
 protected:
   EndedMachine() {
      world_.apply( "appear A; up A; group g; monitor g A; disable g C; disable g D; start" );
   }

   // Acts once, from inside the notification `heard`, then expects that state.
   void expect( std::string_view event, std::string_view heard, std::function< void() > act,
                std::string_view state ) {
      bool acted = false;
      world_.onHeard = [ & ]( std::string const& what ) {
         if ( what == heard && !std::exchange( acted, true ) )
            act();
      };
      world_.apply( event );
      world_.onHeard = nullptr;
      EXPECT_TRUE( acted ) << heard;
      EXPECT_EQ( world_.state(), state );
   }
   std::function< void() > applying( std::string_view events ) {
      return [ this, events ] { world_.apply( events ); };
   }

   World world_;
};

TEST_F( EndedMachine, OfARemovedGroupOpensNoFurtherPort ) {
   world_.apply( "down A" );
   expect( "up A", "D-", applying( "ungroup g; group h; disable h C" ), "h:down#0@0 | C@0" );
}

TEST_F( EndedMachine, OfARemovedGroupWritesNoRecordWhateverTheNumberOfPorts ) {
   Zet::Ptr< GroupStatus const > const record = world_.status->group( name( 'g' ) );
   world_.apply( "release g D" );
   expect( "down A", "C@0", applying( "ungroup g" ), "|" );
   EXPECT_EQ( record->groupLinkStatus(), GroupLinkStatus::up );
   EXPECT_EQ( record->numTimesDisabled(), 0u );
   world_.apply( "up A; group g; min g 9; disable g C" );
   Zet::Ptr< GroupStatus const > const other = world_.status->group( name( 'g' ) );
   expect( "min g 0", "C-", applying( "ungroup g" ), "|" );
   EXPECT_EQ( other->groupLinkStatus(), GroupLinkStatus::down );
}

TEST_F( EndedMachine, CountsTheDisablingThatItIsRecording ) {
   auto const replace = [ & ] {
      world_.root->uplinkFailureDetectionSmIs( configFactory( "other" ), world_.status,
                                               world_.cause, world_.dir );
   };
   expect( "down A", "g:down", replace, "g:down#1@0 | C@0 D@0" );
}

TEST_F( EndedMachine, LeavesTheRecordToTheMachineOfAnotherTopMachine ) {
   world_.apply( "down A" );
   expect( "ungroup g", "D-", applying( "stop; group g; disable g E; start" ), "g:down#1@0 | E@0" );
   ASSERT_TRUE( world_.groupSm( 'g' ) );
   EXPECT_EQ( world_.groupSm( 'g' )->groupStatus(), world_.status->group( name( 'g' ) ) );
}

TEST_F( EndedMachine, DoesNothingForWhoHoldsIt ) {
   auto const removed = world_.groupSm( 'g' );
   world_.apply( "ungroup g; down A; group h; disable h C" );
   EXPECT_TRUE( removed->ended() );
   removed->handleInitialized();
   removed->handleAndCheckIntf( intf( 'C' ) );
   auto const orphan = world_.groupSm( 'h' );
   EXPECT_FALSE( orphan->ended() );
   world_.apply( "stop; min h 0; appear C" );
   EXPECT_TRUE( orphan->ended() );
   EXPECT_EQ( world_.state(), "h:down#0@0 | C@0" );
}

TEST_F( EndedMachine, IsTheOnlyOneOfItsGroupWhileItIsEvaluated ) {
   auto const evaluating = [ & ] {
      EXPECT_EQ( world_.groupSm( 'k' ), nullptr );
      auto const machine = world_.sm()->uplinkFailureDetectionGroupSmIs(
          world_.config->group( name( 'k' ) ), world_.status->group( name( 'k' ) ), world_.dir,
          world_.cause );
      EXPECT_FALSE( machine->initialized() );
   };
   expect( "group k", "k:down", evaluating, "g:up#0@0 k:down#0@0 |" );
   EXPECT_TRUE( world_.groupSm( 'k' )->initialized() );
   // Removed while it is evaluated, it is cleaned up before the removal returns.
   expect(
       "ungroup k; group k", "k:down",
       [ & ] {
          world_.apply( "disable k E; ungroup k" );
          EXPECT_EQ( world_.state(), "g:up#0@0 |" );
       },
       "g:up#0@0 |" );
   EXPECT_EQ( world_.groupSm( 'k' ), nullptr );
}

// Has a group that is removed made again at once, before the machines hear of it.
class Restorer : public Config::Notifiee {
   void onGroup( Zet::Name group ) override { notifier()->groupIs( group ); }
};

TEST_F( EndedMachine, OfAGroupThatIsExchangedWhileItIsEvaluatedMakesRoom ) {
   world_.apply( "stop; down A" );
   auto const restorer = Zet::make< Restorer >();
   world_.config->zetNotifieeAdapterIs( restorer );
   Tests::CollectedFailures const failures;
   expect( "start", "D@0", applying( "ungroup g" ), "g:down#0@0 |" );
   EXPECT_EQ( world_.groupSm( 'g' )->groupConfig(), world_.config->group( name( 'g' ) ) );
   EXPECT_EQ( failures.texts.size(), 2u );
}

TEST_F( EndedMachine, RootMayGoWhileItsMachineIsBuilt ) {
   world_.apply( "stop; down A" );
   expect(
       "start", "D@0", [ & ] { world_.root = nullptr; }, "g:down#0@0 | C@0 D@0" );
   world_.config->groupIs( name( 'h' ) );
   EXPECT_EQ( world_.state(), "g:down#0@0 | C@0 D@0" );
   world_.root = rootFactory( "root" );
}

TEST_F( EndedMachine, MachinesAreRemovedThroughAnIterator ) {
   world_.apply( "appear B; monitor g B; group h; group k" );
   auto const group = world_.groupSm( 'g' );
   auto child = group->uplinkFailureDetectionIntfSmIterator( intf( 'B' ) );
   EXPECT_TRUE( child.key() == intf( 'B' ) && child.del() && !child.del() );
   EXPECT_EQ( world_.children( 'g' ), "A" );
   for ( auto at = group->uplinkFailureDetectionIntfSmIterator(); at; ++at )
      at.del();
   EXPECT_EQ( world_.children( 'g' ), "" );
   for ( auto at = world_.sm()->uplinkFailureDetectionGroupSmIterator( name( 'h' ) ); at; ++at )
      at.del();
   EXPECT_EQ( world_.groupSm( 'h' ), nullptr );
   for ( auto at = world_.sm()->uplinkFailureDetectionGroupSmIterator(); at; ++at )
      at.del();
   EXPECT_TRUE( world_.sm()->uplinkFailureDetectionGroupSmMembers().empty() );
}

} // namespace

} // namespace Scenario
