#include "adapters/notify/ReactorAdapter.h"

#include "adapters/notify/StateMachine.h"
#include "model/GroupConfig.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using UplinkFailureDetection::GroupConfig;

class Machine;

class Reactor
    : public Notify::WatchingReactor< GroupConfig::NotifieeConst, GroupConfig const, Machine > {
 public:
   using WatchingReactor::WatchingReactor;
   void onMinLinks() override;
};

// Watches one group, and counts its changes.
class Machine : public Notify::StateMachine< Machine > {
 public:
   Machine( Zet::Ptr< GroupConfig const > const& group, int& changed ) : changed_( changed ) {
      watch( group );
      hasNotificationActiveIs( true );
   }
   void watch( Zet::Ptr< GroupConfig const > const& group ) { reactorIs( reactor, group ); }
   void change() { ++changed_; }
   auto reactors() { return std::tie( reactor ); }
   template < class Visit > void forEachChild( Visit ) {}
   static Zet::Ptr< Zet::ZetType const > _fwkType() { return nullptr; }

   Zet::Ptr< Reactor > reactor;

 protected:
   ~Machine() override { reactorsEnd(); }

 private:
   int& changed_;
};

void
Reactor::onMinLinks() {
   forward< &Machine::change >();
}

class ReactorAdapter : public testing::Test {
 protected:
   int changed = 0;
   Zet::Ptr< GroupConfig > const entity = GroupConfig::GroupConfigIs( "e" );
   Zet::Ptr< Machine > machine = Zet::make< Machine >( entity, changed );
   Zet::Ptr< Reactor > const reactor = machine->reactor;
};

TEST_F( ReactorAdapter, isSilentAsAZombie ) {
   reactor->zetDoZombieReactors( true );
   EXPECT_FALSE( reactor->hasNotificationActive() );
   EXPECT_FALSE( reactor->isRegisteredNotifiee() );
   reactor->onMinLinks();
   EXPECT_EQ( changed, 0 );
   reactor->zetDoZombieReactors( false );
   entity->minLinksIs( 7 );
   EXPECT_EQ( changed, 1 );
   reactor->notifierIs( nullptr );
   reactor->zetDoZombieReactors( true );
   EXPECT_TRUE( reactor->zetMarkedForDeletion() );
   EXPECT_TRUE( reactor->hasNotificationActive() );
}

// A notification that is under way holds the reactors that it has yet to call.
TEST_F( ReactorAdapter, isSilentOnceItsMachineHasDroppedIt ) {
   machine->watch( nullptr );
   machine->watch( entity );
   auto const last = machine->reactor;
   ASSERT_NE( last, reactor );
   machine = nullptr;
   for ( auto const& dropped : { reactor, last } ) {
      EXPECT_TRUE( dropped->zetMarkedForDeletion() );
      EXPECT_FALSE( dropped->isRegisteredNotifiee() );
      // Its owner is gone all the same.
      dropped->zetDoZombieReactors( false );
   }
   entity->minLinksIs( 7 );
   EXPECT_EQ( changed, 0 );
}

TEST_F( ReactorAdapter, registersWithANewNotifier ) {
   reactor->isRegisteredNotifieeIs( false );
   auto const other = GroupConfig::GroupConfigIs( "o" );
   machine->watch( other );
   EXPECT_EQ( machine->reactor, reactor );
   other->minLinksIs( 7 );
   EXPECT_EQ( changed, 1 );
}

TEST_F( ReactorAdapter, staysAsItIsUnlessItsMachineChanges ) {
   reactor->hasNotificationActiveIs( false );
   machine->hasNotificationActiveIs( true );
   reactor->zetDoZombieReactors( false );
   EXPECT_FALSE( reactor->hasNotificationActive() );
   reactor->zetDoZombieReactors( true );
   machine->zetDoZombieReactors( false );
   EXPECT_TRUE( reactor->zetMarkedForDeletion() );
}

} // namespace
