#include "tests/support/Observer.h"
#include "tests/support/Scenario.h"

#include <gmock/gmock.h>
#include <stdexcept>

using namespace UplinkFailureDetection;
using testing::ElementsAre;
using testing::IsEmpty;

namespace Scenario {

namespace {

TEST( Root, EachOfTheFourReplacesTheMachineAndIsToldOnce ) {
   World world;
   Tests::Log log;
   auto const observer = Tests::observe< Tests::Actor >( world.root, log, "n" );
   EXPECT_EQ( world.root->uplinkFailureDetectionSmDel(), nullptr );
   EXPECT_THAT( log, IsEmpty() );
   world.apply( "group g; start" );
   auto config = world.config;
   auto status = world.status;
   auto cause = world.cause;
   auto dir = world.dir;
   auto const expectReplaced = [ & ]( char const* what ) {
      auto const old = world.sm();
      log.clear();
      auto const sm = world.root->uplinkFailureDetectionSmIs( config, status, cause, dir );
      EXPECT_NE( sm, old ) << what;
      EXPECT_EQ( sm, world.sm() ) << what;
      EXPECT_EQ( old->references(), 1u ) << what;
      EXPECT_THAT( log, ElementsAre( "n 258" ) ) << what;
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
   Tests::Log log;
   auto const observer = Tests::observe< Tests::Actor >( world.root, log, "n" );
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
   EXPECT_THAT( log, IsEmpty() );
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
   Tests::Log log;
   auto const observer = Tests::observe< Tests::Actor >( world.root, log, "n" );
   // An uncounted observer lets a root go, and lets go of it in time.
   observer->zetHasUncountedNotifierIs( true );
   observer->act = [ &log, root = world.root.get(), observer = observer.get() ] {
      if ( log.back() != "n 258" )
         return;
      EXPECT_EQ( root->uplinkFailureDetectionSm(), nullptr );
      observer->notifierIs( nullptr );
   };
   world.root = nullptr;
   EXPECT_THAT( log, ElementsAre( "n 5", "n 258" ) );
   world.config->groupIs( name( 'h' ) );
   EXPECT_EQ( world.state(), "g:down#0@0 |" );
}

} // namespace

} // namespace Scenario
