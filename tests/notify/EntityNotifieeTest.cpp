#include "adapters/notify/EntityNotifiee.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

using namespace Tests;

namespace {

using Ufd::GroupConfig;

class EntityNotifiee : public testing::Test {
 protected:
   Zet::Ptr< Recorder< GroupConfig > > recorder( char const* name ) {
      return observe< Recorder >( entity, log, name );
   }
   // Who hears of a change of the entity, in order.
   std::string heard( Zet::Ptr< GroupConfig > const& changed ) {
      log.clear();
      changed->minLinksIs( changed->minLinks() + 1 );
      std::string names;
      for ( std::string const& event : log )
         names += event.substr( 0, event.find( ' ' ) );
      return names;
   }
   std::string heard() { return heard( entity ); }

   Log log;
   Zet::Ptr< GroupConfig > entity = GroupConfig::GroupConfigIs( "e" );
   Zet::Ptr< GroupConfig > other = GroupConfig::GroupConfigIs( "o" );
};

TEST_F( EntityNotifiee, activationRemembersWhetherItWasRegistered ) {
   auto const a = recorder( "a" );
   auto const out = Zet::make< Recorder< GroupConfig > >( log, "o" );
   EXPECT_EQ( out->zet_bitSet().word(), 1u << 26 );
   EXPECT_EQ( out->name(), "" );
   out->notifierIs( entity );
   EXPECT_EQ( out->name(), "e" );
   auto const c = recorder( "c" );
   for ( int time = 0; time < 2; ++time ) {
      a->hasNotificationActiveIs( false );
      out->hasNotificationActiveIs( false );
      EXPECT_TRUE( a->zet_bitSet().bit( 19 ) );
      EXPECT_FALSE( a->isRegisteredNotifiee() );
      EXPECT_FALSE( out->zet_bitSet().bit( 19 ) );
      EXPECT_EQ( heard(), "c" );
   }
   a->hasNotificationActiveIs( true );
   out->hasNotificationActiveIs( true );
   EXPECT_EQ( heard(), "ca" );
   EXPECT_EQ( a->auditErrors( 0 ), 0u );
}

TEST_F( EntityNotifiee, joinsAListOnce ) {
   auto const a = recorder( "a" );
   auto const b = recorder( "b" );
   a->isRegisteredNotifieeIs( true );
   EXPECT_EQ( heard(), "ab" );
   for ( auto const& notifiee : { a, b } )
      EXPECT_DEATH( entity->notifieeIs( *notifiee ), "joins a list once" );
   auto const status = Interface::EthIntfStatus::EthIntfStatusIs( intf( "et1" ) );
   auto const linked = Zet::make< Interface::EthIntfStatus::Notifiee >();
   status->zetNotifieeAdapterIs( linked );
   EXPECT_DEATH( status->notifieeIs( *linked ), "joins a list once" );
}

TEST_F( EntityNotifiee, mayBeRegisteredBeforeItHasANotifier ) {
   auto const a = Zet::make< Recorder< GroupConfig > >( log, "a" );
   for ( bool const registered : { true, false, true } )
      a->isRegisteredNotifieeIs( registered );
   a->notifierIs( entity );
   EXPECT_EQ( heard(), "a" );
}

TEST_F( EntityNotifiee, movesWithItsNotifier ) {
   auto const a = recorder( "a" );
   auto const b = recorder( "b" );
   std::uint32_t const before = entity->references();
   a->notifierIs( entity );
   EXPECT_EQ( heard(), "ab" );
   EXPECT_EQ( entity->references(), before );
   a->notifierIs( other );
   EXPECT_EQ( heard(), "b" );
   EXPECT_EQ( heard( other ), "a" );
   EXPECT_EQ( entity->references(), before - 1 );
   EXPECT_EQ( other->references(), 2u );
   // An object of another type counts as none; registration waits for the next.
   a->notifierIs( Ufd::GroupStatus::GroupStatusIs( "e" ) );
   EXPECT_EQ( a->notifier(), nullptr );
   EXPECT_EQ( other->references(), 1u );
   EXPECT_EQ( heard( other ), "" );
   EXPECT_TRUE( a->isRegisteredNotifiee() );
   a->notifierIs( entity );
   EXPECT_EQ( heard(), "ba" );
}

TEST_F( EntityNotifiee, holdsAnUncountedNotifierWithoutCounting ) {
   auto a = recorder( "a" );
   a->zetHasUncountedNotifierIs( true );
   EXPECT_EQ( entity->references(), 1u );
   a->notifierIs( other );
   EXPECT_EQ( entity->references(), 1u );
   EXPECT_EQ( other->references(), 1u );
   EXPECT_EQ( heard( other ), "a" );
   a->notifierIs( nullptr );
   EXPECT_EQ( other->references(), 1u );
   a->notifierIs( entity );
   a->zetHasUncountedNotifierIs( false );
   EXPECT_EQ( entity->references(), 2u );
   a->zetHasUncountedNotifierIs( true );
   a = nullptr;
   EXPECT_EQ( entity->references(), 1u );
   EXPECT_EQ( heard(), "" );
}

TEST_F( EntityNotifiee, mayKeepAnEntityWhoseReferencesAreGone ) {
   auto const a = observe< Actor >( entity, log, "a" );
   a->zetHasUncountedNotifierIs( true );
   auto* const bare = entity.get();
   a->act = [ & ] { entity = bare; };
   entity = nullptr;
   EXPECT_EQ( log, Log{ "a 5" } );
   ASSERT_EQ( entity, bare );
   EXPECT_EQ( entity->references(), 1u );
   // Not kept the second time; references taken and dropped meanwhile don't destroy it twice.
   a->act = [ & ] {
      Zet::Ptr< GroupConfig > const passing( bare );
      a->notifierIs( nullptr );
   };
   entity = nullptr;
   EXPECT_EQ( log, ( Log{ "a 5", "a 5" } ) );
}

} // namespace
