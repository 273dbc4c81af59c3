#include "adapters/notify/ReactorAdapter.h"

#include "model/GroupConfig.h"

#include <gtest/gtest.h>

namespace {

using UplinkFailureDetection::GroupConfig;

struct Owner {
   void watch() { ++watched; }
   void change() { ++changed; }
   int watched = 0;
   int changed = 0;
};

class Reactor : public Notify::WatchingReactor< GroupConfig::NotifieeConst, GroupConfig const,
                                                Owner, &Owner::watch > {
 public:
   using WatchingReactor::WatchingReactor;
   void onMinLinks() override { forward< &Owner::change >(); }
};

class ReactorAdapter : public testing::Test {
 protected:
   int changesOf( Zet::Ptr< GroupConfig > const& changed ) {
      owner.changed = 0;
      changed->minLinksIs( changed->minLinks() + 1 );
      return owner.changed;
   }

   Owner owner;
   Zet::Ptr< GroupConfig > entity = GroupConfig::GroupConfigIs( "e" );
   Zet::Ptr< GroupConfig > other = GroupConfig::GroupConfigIs( "o" );
   Zet::Ptr< Reactor > reactor = Zet::make< Reactor >( entity, &owner );
};

TEST_F( ReactorAdapter, callsItsOwnerOnlyForWhatComesAfterwards ) {
   EXPECT_EQ( owner.watched, 0 );
   EXPECT_EQ( changesOf( entity ), 1 );
   reactor->notifierIs( entity );
   EXPECT_EQ( owner.watched, 0 );
   reactor->notifierIs( other );
   EXPECT_EQ( owner.watched, 1 );
   EXPECT_EQ( changesOf( entity ), 0 );
   EXPECT_EQ( changesOf( other ), 1 );
   reactor->notifierIs( nullptr );
   EXPECT_EQ( owner.watched, 1 );
   reactor->ownerIs( nullptr );
   reactor->notifierIs( entity );
   EXPECT_EQ( changesOf( entity ), 0 );
}

TEST_F( ReactorAdapter, isSilentAsAZombie ) {
   reactor->zetDoZombieReactors( true );
   EXPECT_FALSE( reactor->hasNotificationActive() );
   EXPECT_FALSE( reactor->isRegisteredNotifiee() );
   reactor->onMinLinks();
   EXPECT_EQ( owner.changed, 0 );
   reactor->zetDoZombieReactors( false );
   EXPECT_EQ( changesOf( entity ), 1 );
   reactor->notifierIs( nullptr );
   reactor->zetDoZombieReactors( true );
   EXPECT_TRUE( reactor->zetMarkedForDeletion() );
   EXPECT_TRUE( reactor->hasNotificationActive() );
}

} // namespace
