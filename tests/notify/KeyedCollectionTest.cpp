#include "adapters/notify/KeyedCollection.h"

#include "tests/support/Entities.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Tests;

namespace {

// A collection of values and one of entities under one face.
struct Monitored {
   using E = Ufd::GroupConfig;
   static void add( E& e, char const* key ) { e.intfsToMonitorIs( intf( key ), true ); }
   static void del( E& e, char const* key ) { e.intfsToMonitorDel( intf( key ) ); }
   static void delAll( E& e ) { e.intfsToMonitorDelAll(); }
   static auto iterator( E& e ) { return e.intfsToMonitorIterator(); }
   static Log keys( E const& e ) { return keysOf( e.intfsToMonitorMembers() ); }
};

struct Groups {
   using E = Ufd::Config;
   static void add( E& e, char const* key ) { e.groupIs( key ); }
   static void del( E& e, char const* key ) { e.groupDel( key ); }
   static void delAll( E& e ) { e.groupDelAll(); }
   static auto iterator( E& e ) { return e.groupIterator(); }
   static Log keys( E const& e ) { return keysOf( e.groupMembers() ); }
};

template < class Face > class KeyedCollection : public testing::Test {
 protected:
   KeyedCollection() {
      for ( char const* const key : { "a", "b", "c", "d", "e", "f" } )
         Face::add( *entity, key );
      keys = Face::keys( *entity );
      actor = observe< Actor >( entity, log, "n" );
   }
   Log events( Log const& ofKeys ) const {
      Log result;
      for ( std::string const& key : ofKeys )
         result.push_back( "n 258 " + key );
      return result;
   }

   Log log;
   Zet::Ptr< typename Face::E > entity = Sample< typename Face::E >().entity;
   Zet::Ptr< Actor< typename Face::E > > actor;
   Log keys;
};

using Faces = testing::Types< Monitored, Groups >;
TYPED_TEST_SUITE( KeyedCollection, Faces );

TYPED_TEST( KeyedCollection, itsIteratorDeletesAndTellsOnce ) {
   std::uint32_t const references = this->entity->references();
   {
      auto at = TypeParam::iterator( *this->entity );
      EXPECT_EQ( this->entity->references(), references + 1 );
      EXPECT_TRUE( at.del() );
      EXPECT_FALSE( at.del() );
      ++at;
      ++at;
      TypeParam::del( *this->entity, this->keys[ 2 ].c_str() );
      EXPECT_FALSE( at.del() );
      ++at;
      // Another member of the key that it stands on is not its own.
      TypeParam::del( *this->entity, this->keys[ 3 ].c_str() );
      TypeParam::add( *this->entity, this->keys[ 3 ].c_str() );
      EXPECT_FALSE( at.del() );
      ++at;
      EXPECT_TRUE( at.del() );
   }
   auto const& key = this->keys;
   EXPECT_EQ( this->log, this->events( { key[ 0 ], key[ 2 ], key[ 3 ], key[ 3 ], key[ 4 ] } ) );
   EXPECT_EQ( TypeParam::keys( *this->entity ), ( Log{ key[ 1 ], key[ 3 ], key[ 5 ] } ) );
   EXPECT_EQ( this->entity->references(), references );
}

TYPED_TEST( KeyedCollection, isEmptiedOfWhatIsInsertedMeanwhile ) {
   // After the first removal, wherever they belong, and after the last.
   bool first = true;
   bool last = true;
   this->actor->act = [ & ] {
      if ( std::exchange( first, false ) )
         for ( int number = 0; number < 20; ++number )
            TypeParam::add( *this->entity, ( "x" + std::to_string( number ) ).c_str() );
      else if ( TypeParam::keys( *this->entity ).empty() && std::exchange( last, false ) )
         TypeParam::add( *this->entity, "x20" );
   };
   TypeParam::delAll( *this->entity );
   EXPECT_EQ( TypeParam::keys( *this->entity ), Log{} );
   EXPECT_EQ( this->log.size(), 6u + 2 * 21 );
   for ( std::string const& event : this->log )
      EXPECT_EQ( std::count( this->log.begin(), this->log.end(), event ),
                 event.find( 'x' ) != event.npos ? 2 : 1 );
}

TYPED_TEST( KeyedCollection, isEmptiedThoughItsOwnerIsDropped ) {
   this->actor->act = [ & ] {
      this->entity = nullptr;
      this->actor->notifierIs( nullptr );
   };
   TypeParam::delAll( *this->entity );
   EXPECT_EQ( this->log, this->events( { this->keys[ 0 ] } ) );
}

TYPED_TEST( KeyedCollection, isLeftAloneByAFailingReport ) {
   auto const thrower = observe< Thrower >( this->entity, this->log, "t" );
   thrower->insists = true;
   EXPECT_THROW( TypeParam::delAll( *this->entity ), std::logic_error );
   EXPECT_EQ( TypeParam::keys( *this->entity ), Log( this->keys.begin() + 1, this->keys.end() ) );
   thrower->isRegisteredNotifieeIs( false );
   TypeParam::delAll( *this->entity );
   EXPECT_EQ( TypeParam::keys( *this->entity ), Log{} );
}

} // namespace
