#include "platform/zet/PtrInterface.h"

#include "platform/zet/Entity.h"
#include "platform/zet/Ptr.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace {

static_assert( sizeof( Zet::Ptr< Zet::Entity > ) == sizeof( void* ) );
static_assert( !std::is_convertible_v< Zet::Ptr< Zet::Entity const >, Zet::Ptr< Zet::Entity > > );

// Says when it is destroyed.
class Object : public Zet::PtrInterface {
 public:
   explicit Object( bool& destroyed ) : destroyed_( destroyed ) {}

 protected:
   ~Object() override { destroyed_ = true; }

 private:
   bool& destroyed_;
};

TEST( Ptr, countsEveryHolder ) {
   bool destroyed = false;
   Zet::Ptr< Object > a = Zet::make< Object >( destroyed );
   EXPECT_EQ( a->references(), 1u );
   Zet::Ptr< Zet::PtrInterface const > b = a;
   Zet::Ptr< Object > c( a.get() );
   EXPECT_EQ( a->references(), 3u );
   c = std::move( a );
   EXPECT_FALSE( a );
   EXPECT_EQ( c->references(), 2u );
   auto& self = c;
   c = self;
   EXPECT_EQ( c->references(), 2u );
   EXPECT_EQ( c, b );
   EXPECT_EQ( Zet::ptrCast< Object const >( b ), c );
   EXPECT_EQ( Zet::ptrCast< Zet::Entity const >( b ), nullptr );
   EXPECT_EQ( c->references(), 2u );
   b = nullptr;
   EXPECT_FALSE( destroyed );
   c = nullptr;
   EXPECT_TRUE( destroyed );
   EXPECT_THROW( Zet::validPtr( c ), Zet::RangeException );
}

TEST( PtrInterface, isNotCountedWhileNondestructing ) {
   bool destroyed = false;
   Zet::Ptr< Object > object = Zet::make< Object >( destroyed );
   auto const second = std::make_unique< Zet::Ptr< Object > >( object );
   auto* const bare = object.get();
   bare->hasNotificationActiveIs( true );
   bare->zetMarkedForDeletionIs( true );
   EXPECT_FALSE( bare->isNondestructing() );
   bare->isNondestructingIs( true );
   bare->isNondestructingIs( true );
   EXPECT_TRUE( bare->isNondestructing() );
   EXPECT_TRUE( bare->hasNotificationActive() );
   EXPECT_TRUE( bare->zetMarkedForDeletion() );
   bare->zetMarkedForDeletionIs( false );
   object = nullptr;
   for ( int time = 0; time < 5; ++time )
      Zet::Ptr< Object > const passing( bare );
   EXPECT_FALSE( destroyed );
   EXPECT_GT( bare->references(), 500'000'000u );
   bare->isNondestructingIs( false );
   EXPECT_EQ( bare->references(), 2u );
   EXPECT_TRUE( bare->hasNotificationActive() );
   EXPECT_FALSE( bare->zetMarkedForDeletion() );
   // The reference that was dropped uncounted is still to be given back.
   object = Zet::Ptr< Object >::adopt( bare );
   *second = nullptr;
   EXPECT_FALSE( destroyed );
   object = nullptr;
   EXPECT_TRUE( destroyed );
}

} // namespace
