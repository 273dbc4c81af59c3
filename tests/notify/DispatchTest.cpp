#include "adapters/notify/Dispatch.h"

#include "platform/zet/Strep.h"
#include "tests/support/Allocations.h"
#include "tests/support/Entities.h"
#include "tests/support/Failures.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Tests;

namespace {

// Every rule holds for every kind of entity.
template < class E > class Dispatch : public testing::Test {
 protected:
   template < template < class > class Kind > Zet::Ptr< Kind< E > > observe( char const* name ) {
      return Tests::observe< Kind >( sample.entity, log, name );
   }
   void change() { sample.change(); }
   // Compares what was heard since the last time: "a" means that a heard of the change, "a throws"
   // that it was told of its own exception.
   void expectHeard( std::vector< std::string > const& names ) {
      Log expected;
      for ( std::string const& name : names ) {
         auto const space = name.find( ' ' );
         expected.push_back( space == std::string::npos
                                 ? name + " " + Sample< E >::heard
                                 : name.substr( 0, space ) + " exception " + Sample< E >::id );
      }
      EXPECT_EQ( std::exchange( log, {} ), expected );
   }

   Log log;
   Sample< E > sample;
};

using Entities =
    testing::Types< Ufd::GroupConfig, Ufd::Config, Ufd::GroupStatus, Ufd::Status, Ufd::Root >;
TYPED_TEST_SUITE( Dispatch, Entities );

TYPED_TEST( Dispatch, doesNotCallWhoIsAddedMeanwhile ) {
   auto const late = Zet::make< Recorder< TypeParam > >( this->log, "late" );
   late->notifierIs( this->sample.entity );
   auto const adder = this->template observe< Actor >( "adder" );
   auto const b = this->template observe< Recorder >( "b" );
   adder->act = [ & ] { late->isRegisteredNotifieeIs( true ); };
   this->change();
   this->expectHeard( { "adder", "b" } );
   this->change();
   this->expectHeard( { "adder", "b", "late" } );
}

TYPED_TEST( Dispatch, stillCallsWhoLeavesMeanwhile ) {
   auto const leaver = this->template observe< Actor >( "leaver" );
   auto const self = this->template observe< Actor >( "self" );
   auto const left = this->template observe< Recorder >( "left" );
   leaver->act = [ & ] { left->isRegisteredNotifieeIs( false ); };
   self->act = [ & ] { self->isRegisteredNotifieeIs( false ); };
   this->change();
   this->expectHeard( { "leaver", "self", "left" } );
   this->change();
   this->expectHeard( { "leaver" } );
}

TYPED_TEST( Dispatch, neverCallsWhoIsDestroyedMeanwhile ) {
   auto const owner = this->template observe< Actor >( "owner" );
   auto x = this->template observe< Actor >( "x" );
   auto y = this->template observe< Actor >( "y" );
   auto const last = this->template observe< Recorder >( "last" );
   // Each goes when the one before it is destroyed, on either side of one that stays.
   y->act = [ z = this->template observe< Recorder >( "z" ) ]() mutable { z = nullptr; };
   x->act = [ next = std::exchange( y, nullptr ) ]() mutable { next = nullptr; };
   owner->act = [ & ] { x = nullptr; };
   for ( int change = 0; change < 2; ++change ) {
      this->change();
      this->expectHeard( { "owner", "last" } );
   }
}

TYPED_TEST( Dispatch, goesOnThoughAllElseIsDestroyedMeanwhile ) {
   auto actor = this->template observe< Actor >( "actor" );
   auto const last = this->template observe< Actor >( "last" );
   Zet::String8 const texts[] = { Zet::valueToStrepOfRawPtr( "actor", actor.get() ),
                                  Zet::valueToStrep( this->sample.entity.get() ) };
   actor->act = [ & ] {
      this->sample.entity = nullptr;
      last->notifierIs( nullptr );
      actor->notifierIs( nullptr );
      actor = nullptr;
   };
   last->act = [ & ] {
      for ( Zet::String8 const& text : texts )
         EXPECT_THROW( Zet::strepToValue< Zet::Ptr< Zet::PtrInterface > >( text ),
                       Zet::CannotConvertException )
             << "lives: " << text;
   };
   this->change();
   this->expectHeard( { "actor", "last" } );
}

TYPED_TEST( Dispatch, tellsAnUntypedNotifieeOfIdAndKey ) {
   auto const a = this->template observe< Recorder >( "a" );
   auto const untyped = this->template observe< Untyped >( "untyped" );
   auto const last = this->template observe< Recorder >( "last" );
   this->change();
   this->expectHeard( { "a", "untyped", "untyped throws", "last" } );
   a->isRegisteredNotifieeIs( false );
   last->isRegisteredNotifieeIs( false );
   this->change();
   this->expectHeard( { "untyped", "untyped throws" } );
}

TYPED_TEST( Dispatch, reportsAThrowerAndGoesOn ) {
   auto const a = this->template observe< Thrower >( "a" );
   auto const b = this->template observe< Thrower >( "b" );
   auto const last = this->template observe< Recorder >( "last" );
   this->change();
   this->expectHeard( { "a", "a throws", "b", "b throws", "last" } );
   EXPECT_EQ( Zet::Expect::innermost(), nullptr );
}

TYPED_TEST( Dispatch, letsThroughWhatTheReportThrows ) {
   auto const thrower = this->template observe< Thrower >( "thrower" );
   auto const last = this->template observe< Recorder >( "last" );
   thrower->insists = true;
   EXPECT_THROW( this->change(), std::logic_error );
   this->expectHeard( { "thrower", "thrower throws" } );
   EXPECT_EQ( thrower->references(), 1u );
   EXPECT_EQ( last->references(), 1u );
   EXPECT_EQ( Zet::Expect::innermost(), nullptr );
   // The change itself stands.
   thrower->isRegisteredNotifieeIs( false );
   this->change();
   this->expectHeard( { "last" } );
}

TYPED_TEST( Dispatch, anAttributeLogHearsFirst ) {
   auto const a = this->template observe< Recorder >( "a" );
   auto const logger = this->template observe< LogObserver >( "log" );
   auto const b = this->template observe< Recorder >( "b" );
   this->change();
   if constexpr ( std::is_same_v< TypeParam, Ufd::Root > )
      this->expectHeard( { "a", "log", "b" } );
   else
      this->expectHeard( { "log", "a", "b" } );
   EXPECT_EQ( a->references(), 1u );
}

TYPED_TEST( Dispatch, handsAFailureToTheSinkByDefault ) {
   auto const a = this->template observe< Thrower >( "a" );
   auto const b = this->template observe< Thrower >( "b" );
   a->leavesIt = b->leavesIt = true;
   b->what = std::make_exception_ptr( 7 );
   CollectedFailures const failures;
   this->change();
   this->expectHeard( { "a", "b" } );
   std::string const start =
       "/e: a handler of " +
       std::string( this->sample.entity->attributeString( std::stoi( this->sample.id ) ).view() ) +
       " failed: ";
   EXPECT_EQ( failures.texts, ( Log{ start + "thrown", start + "an exception of unknown type" } ) );
}

TEST( DispatchCost, isAtMostOneAllocation ) {
   if ( allocationsOf( [] { ::operator delete( ::operator new( 1 ) ); } ) == 0 )
      GTEST_SKIP() << "allocations are not counted";
   struct Counting : Ufd::GroupConfig::NotifieeConst {
      explicit Counting( std::size_t& count ) : calls( count ) {}
      void onMinLinks() override { ++calls; }
      std::size_t& calls;
   };
   for ( std::size_t const size : { std::size_t{ 0 }, std::size_t{ 9 }, std::size_t{ 5000 } } ) {
      Sample< Ufd::GroupConfig > const sample;
      std::size_t calls = 0;
      std::vector< Zet::Ptr< Counting > > observers;
      while ( observers.size() < size )
         observers.push_back( Zet::make< Counting >( calls ) );
      EXPECT_EQ( allocationsOf( [ & ] {
                    for ( auto const& observer : observers )
                       sample.entity->zetNotifieeAdapterIs( observer );
                 } ),
                 0u );
      EXPECT_LE( allocationsOf( [ & ] { sample.change(); } ), size == 0 ? 0u : 1u );
      EXPECT_EQ( calls, size );
   }
}

} // namespace
