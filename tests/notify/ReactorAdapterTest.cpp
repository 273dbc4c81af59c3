#include "adapters/notify/ReactorAdapter.h"

#include "model/GroupConfig.h"

#include <gtest/gtest.h>

namespace {

using UplinkFailureDetection::GroupConfig;

struct Owner {
   void change() { ++changed; }
   int changed = 0;
};

class Reactor
    : public Notify::WatchingReactor< GroupConfig::NotifieeConst, GroupConfig const, Owner > {
 public:
   using WatchingReactor::WatchingReactor;
   void onMinLinks() override { forward< &Owner::change >(); }
};

TEST( ReactorAdapter, isSilentAsAZombie ) {
   Owner owner;
   auto const entity = GroupConfig::GroupConfigIs( "e" );
   auto const reactor = Zet::make< Reactor >( entity, &owner );
   reactor->zetDoZombieReactors( true );
   EXPECT_FALSE( reactor->hasNotificationActive() );
   EXPECT_FALSE( reactor->isRegisteredNotifiee() );
   reactor->onMinLinks();
   EXPECT_EQ( owner.changed, 0 );
   reactor->zetDoZombieReactors( false );
   entity->minLinksIs( 7 );
   EXPECT_EQ( owner.changed, 1 );
   reactor->notifierIs( nullptr );
   reactor->zetDoZombieReactors( true );
   EXPECT_TRUE( reactor->zetMarkedForDeletion() );
   EXPECT_TRUE( reactor->hasNotificationActive() );
}

} // namespace
