#include "platform/zet/HashMap.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <random>
#include <vector>

namespace {

struct Good {
   static std::uint32_t of( std::uint32_t number ) { return number * 0x9e3779b1 ^ number >> 7; }
};
struct Constant {
   static std::uint32_t of( std::uint32_t ) { return 0x12345678; }
};
struct Identity {
   static std::uint32_t of( std::uint32_t number ) { return number; }
};

template < class Hash > struct Key {
   std::uint32_t number;
   std::uint32_t hash() const { return Hash::of( number ); }
   auto operator<=>( Key const& ) const = default;
};

template < class Hash > class Member : public Zet::PtrInterface {
 public:
   explicit Member( std::uint32_t number ) : key_{ number } { ++living; }
   Key< Hash > zetKey() const { return key_; }
   Zet::ChainLink< Member > zetChainLink;
   static inline int living = 0;
   std::function< void() > atEnd = [] {};

 protected:
   ~Member() override {
      --living;
      atEnd();
   }

 private:
   Key< Hash > key_;
};

// By the definition, bit by bit.
using Place = std::pair< std::uint32_t, std::uint32_t >;

template < class Hash >
Place
placeOf( std::uint32_t number ) {
   std::uint32_t position = 0;
   for ( unsigned int bit = 0; bit < 32; ++bit )
      position |= ( Hash::of( number ) >> bit & 1 ) << ( 31 - bit );
   return { position, number };
}

// A map, what it ought to hold in order, and iterators that stand on it all the while.
template < class Hash > class Watched {
 public:
   using Map = Zet::HashMap< Member< Hash >, Key< Hash > >;
   using Oracle = std::map< Place, Member< Hash >* >;

   void insert( Zet::Ptr< Member< Hash > > member ) {
      std::uint32_t const number = member->zetKey().number;
      if ( map.find( { number } ) )
         return;
      oracle[ placeOf< Hash >( number ) ] = member.get();
      map.insert( std::move( member ) );
   }
   void insert( std::uint32_t number ) { insert( Zet::make< Member< Hash > >( number ) ); }
   Zet::Ptr< Member< Hash > > remove( std::uint32_t number ) {
      auto const removed = map.remove( Key< Hash >{ number } );
      EXPECT_EQ( removed != nullptr, oracle.erase( placeOf< Hash >( number ) ) == 1 );
      return removed;
   }
   void clear() {
      map.clear();
      oracle.clear();
   }

   void iteratorIs( std::size_t which, std::uint32_t from ) {
      iterators[ which ].emplace( map.from( { from } ) );
      standsAt( which, oracle.lower_bound( placeOf< Hash >( from ) ) );
   }
   void step( std::size_t which ) {
      if ( !iterators[ which ] || !*iterators[ which ] )
         return;
      Place const from = placeOf< Hash >( iterators[ which ]->key().number );
      ++*iterators[ which ];
      standsAt( which, oracle.upper_bound( from ) );
   }

   void check( std::uint32_t probe ) const {
      std::vector< Member< Hash >* > walked;
      map.forEach( [ & ]( auto& member ) { walked.push_back( &member ); } );
      std::vector< Member< Hash >* > expected;
      for ( auto const& [ place, member ] : oracle )
         expected.push_back( member );
      ASSERT_EQ( walked, expected );
      ASSERT_EQ( map.count(), oracle.size() );
      auto const found = oracle.find( placeOf< Hash >( probe ) );
      ASSERT_EQ( map.find( { probe } ), found == oracle.end() ? nullptr : found->second );
      if ( found == oracle.end() )
         return;
      std::vector< Member< Hash > const* > behind;
      std::size_t const most = probe % 8 + 1;
      map.visitBehind( *found->second, [ & ]( auto const& member ) {
         behind.push_back( &member );
         return behind.size() < most;
      } );
      std::vector< Member< Hash > const* > next;
      for ( auto at = std::next( found ); at != oracle.end() && next.size() < most; ++at )
         next.push_back( at->second );
      ASSERT_EQ( behind, next );
   }

   Map map;
   Oracle oracle;
   std::optional< typename Map::Iterator > iterators[ 4 ];

 private:
   void standsAt( std::size_t which, typename Oracle::const_iterator expected ) const {
      ASSERT_EQ( iterators[ which ]->member().get(),
                 expected == oracle.end() ? nullptr : expected->second );
   }
};

template < class Hash > class HashMap : public testing::Test {
   void TearDown() override { EXPECT_EQ( Member< Hash >::living, 0 ); }
};

using Hashes = testing::Types< Good, Constant, Identity >;
TYPED_TEST_SUITE( HashMap, Hashes );

TYPED_TEST( HashMap, agreesWithASortedMap ) {
   unsigned int const seed = std::random_device()();
   SCOPED_TRACE( seed );
   std::mt19937 engine( seed );
   auto const random = [ & ]( std::uint32_t limit ) {
      return static_cast< std::uint32_t >( engine() % limit );
   };
   Watched< TypeParam > one;
   Watched< TypeParam > other;
   std::vector< Zet::Ptr< Member< TypeParam > > > removed;
   for ( int round = 0; round < 4000 && !this->HasFatalFailure(); ++round ) {
      // Phases of growth and of shrinking.
      std::uint32_t const number = random( 300 );
      unsigned int const die = random( 100 ) + ( round / 500 % 2 ? 40 : 0 );
      if ( die < 40 )
         one.insert( number );
      else if ( die < 80 && !removed.empty() && die % 8 == 0 )
         // The same member again, here or in another map, iterators standing on it.
         ( die % 16 == 0 ? one : other ).insert( std::exchange( removed.back(), nullptr ) );
      else if ( die < 110 )
         removed.push_back( one.remove( number ) );
      else if ( die < 138 )
         one.step( random( 4 ) );
      else
         one.clear();
      std::erase( removed, nullptr );
      if ( !removed.empty() )
         one.map.visitBehind( *removed.back(), []( auto& ) { return ADD_FAILURE(), false; } );
      if ( random( 4 ) == 0 )
         one.step( random( 4 ) );
      if ( random( 10 ) == 0 )
         one.iteratorIs( random( 4 ), random( 300 ) );
      if ( random( 50 ) == 0 )
         other.clear();
      if ( random( 50 ) == 0 )
         one.map.keepsTableIs( !one.map.keepsTable() );
      one.check( random( 300 ) );
   }
}

TYPED_TEST( HashMap, keepsAnIteratorThoughItsMemberGoesElsewhere ) {
   typename Watched< TypeParam >::Map here;
   typename Watched< TypeParam >::Map there;
   for ( std::uint32_t number = 0; number < 100; ++number )
      ( number % 2 == 0 ? here : there ).insert( Zet::make< Member< TypeParam > >( number ) );
   for ( auto at = here.begin(); at; ) {
      auto const next = ++typename Watched< TypeParam >::Map::Iterator( at );
      there.insert( here.remove( at->zetKey() ) );
      EXPECT_EQ( ( ++at ).member(), next.member() );
   }
   EXPECT_EQ( there.count(), 100u );
   EXPECT_DEATH( here.insert( there.begin().member() ), "one map at a time" );
}

TYPED_TEST( HashMap, isWalkedWholeThoughAMemberThatGoesRemovesTheNext ) {
   typename Watched< TypeParam >::Map map;
   for ( std::uint32_t number = 0; number < 64; ++number )
      map.insert( Zet::make< Member< TypeParam > >( number ) );
   auto const second = ++map.begin();
   map.begin()->atEnd = [ &, next = second->zetKey() ] { map.remove( next ); };
   int visited = 0;
   for ( auto at = map.begin(); at; ++at, ++visited )
      map.remove( at.key() );
   EXPECT_EQ( visited, 64 );
}

TYPED_TEST( HashMap, dropsALongChainWithoutRecursion ) {
   typename Watched< TypeParam >::Map map;
   // The last key first, so that each lands at the head of its chain.
   for ( std::uint32_t number = 100000; number-- > 0; )
      map.insert( Zet::make< Member< TypeParam > >( number ) );
   auto const at = map.begin();
   map.clear();
   EXPECT_EQ( Member< TypeParam >::living, 1 );
   EXPECT_TRUE( map.empty() );
}

} // namespace
