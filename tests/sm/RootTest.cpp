#include "tests/support/Scenario.h"

#include <gmock/gmock.h>
#include <stdexcept>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// Counts what it is told, and calls `act` each time.
class RootObserver : public Root::NotifieeConst {
 public:
   void onUplinkFailureDetectionSm() override {
      ++told;
      act();
   }

   int told = 0;
   std::function< void() > act = [] {};
};

Zet::Ptr< RootObserver >
observe( World const& world ) {
   auto const observer = Zet::make< RootObserver >();
   world.root->zetNotifieeAdapterIs( observer );
   return observer;
}

TEST( Root, EachOfTheFourReplacesTheMachineAndIsToldOnce ) {
   World world;
   auto const observer = observe( world );
   EXPECT_EQ( world.root->uplinkFailureDetectionSmDel(), nullptr );
   EXPECT_EQ( observer->told, 0 );
   world.apply( "group g; start" );
   auto config = world.config;
   auto status = world.status;
   auto cause = world.cause;
   auto dir = world.dir;
   auto const expectReplaced = [ & ]( char const* what ) {
      auto const old = world.sm();
      int const before = observer->told;
      auto const sm = world.root->uplinkFailureDetectionSmIs( config, status, cause, dir );
      EXPECT_NE( sm, old ) << what;
      EXPECT_EQ( sm, world.sm() ) << what;
      EXPECT_EQ( old->references(), 1u ) << what;
      EXPECT_EQ( observer->told, before + 1 ) << what;
   };
   config = configFactory( "config" );
   expectReplaced( "config" );
   status = statusFactory( "status" );
   expectReplaced( "status" );
   cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   expectReplaced( "causeStatus" );
   dir = Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   expectReplaced( "ethIntfStatusDir" );
   EXPECT_DEATH( world.root->uplinkFailureDetectionSmIs( nullptr, status, cause, dir ), "runs on" );
   EXPECT_DEATH( world.root->newUplinkFailureDetectionSm( config, status, cause, nullptr ),
                 "machine needs" );
}

// Hands the failure on to whoever made the change.
class Insister : public Errdisable::CauseStatus::NotifieeConst {
   void onIntfStatus( Kelnet::IntfId ) override { throw std::runtime_error( "no" ); }
   void onNotificationException( Zet::AttributeId ) override { throw; }
};

TEST( Root, AFailureWhileBuildingLeavesTheOldMachine ) {
   World world;
   world.apply( "appear A; up A; group g; monitor g A; disable g C; start" );
   auto const observer = observe( world );
   auto const old = world.sm();
   auto const config = configFactory( "config" );
   config->groupIs( name( 'h' ) )->intfsToDisableIs( intf( 'D' ), true );
   auto const insister = Zet::make< Insister >();
   world.cause->zetNotifieeAdapterIs( insister );
   EXPECT_THROW(
       world.root->uplinkFailureDetectionSmIs( config, world.status, world.cause, world.dir ),
       std::runtime_error );
   insister->isRegisteredNotifieeIs( false );
   EXPECT_EQ( world.sm(), old );
   EXPECT_EQ( observer->told, 0 );
   world.heard();
   world.apply( "down A" );
   EXPECT_EQ( world.heard(), "C@0 g:down g#1" );
   // Nothing of the one that failed reacts.
   config->group( name( 'h' ) )->minLinksIs( 0 );
   config->groupIs( name( 'k' ) );
   EXPECT_EQ( world.heard(), "" );
}

TEST( Root, GoesWithItsMachineAndTellsOnce ) {
   World world;
   world.apply( "group g; start" );
   auto const observer = observe( world );
   // An uncounted observer lets a root go, and lets go of it in time.
   observer->zetHasUncountedNotifierIs( true );
   observer->act = [ root = world.root.get(), observer = observer.get() ] {
      EXPECT_EQ( root->uplinkFailureDetectionSm(), nullptr );
      observer->notifierIs( nullptr );
   };
   world.root = nullptr;
   EXPECT_EQ( observer->told, 1 );
   world.config->groupIs( name( 'h' ) );
   EXPECT_EQ( world.state(), "g:down#0@0 |" );
}

} // namespace

} // namespace Scenario
