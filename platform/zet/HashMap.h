#pragma once

#include "platform/zet/Assert.h"
#include "platform/zet/BitReverse.h"
#include "platform/zet/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace Zet {

// Returns the key's place in the order of a HashMap: its bit-reversed hash. A key that stores the
// bit-reversed hash instead of the hash offers it as position().
template < class Key >
std::uint32_t
positionOf( Key const& key ) noexcept {
   if constexpr ( requires { key.position(); } )
      return key.position();
   else
      return bitReverse( key.hash() );
}

// The place of a member in its HashMap; only the map reads or writes it.
template < class Member > class ChainLink {
   template < class, class > friend class HashMap;
   // Holds a reference.
   Member* next_ = nullptr;
   // The position of the member's key, set once the member has been in a map. Chains are walked
   // without touching keys.
   std::uint32_t position_ = 0;
   bool linked_ = false;
};
// `linked_` lies in padding, so it takes no memory.
static_assert( sizeof( ChainLink< void > ) == 2 * sizeof( void* ) );

// A keyed collection that holds one reference on each member. It is linked through the members.
//
// A member offers `zetKey()`, which does not change while it is in the map, and a public
// `ChainLink< Member > zetChainLink`. A key offers hash(), == and <.
//
// The order depends on the set of keys alone: ascending by bit-reversed hash, then by key. A
// position's top bits are its bucket, and chains are sorted. So a walk of the buckets is a walk in
// order, and no member passes another when the table grows or shrinks.
template < class M, class K > class HashMap {
 public:
   using Member = M;
   using Key = K;
   class Iterator;

   HashMap() = default;
   HashMap( HashMap const& ) = delete;
   HashMap& operator=( HashMap const& ) = delete;
   ~HashMap() { clear(); }

   std::size_t count() const noexcept { return count_; }
   bool empty() const noexcept { return count_ == 0; }
   // Incremented by every change.
   std::uint32_t version() const noexcept { return version_; }

   // Returns null when the key is absent. Borrows: valid until the member is removed.
   Member* find( Key const& key ) const noexcept {
      std::uint32_t const where = positionOf( key );
      Member* at = buckets_[ bucketOf( where ) ];
      while ( at && !isAt( *at, where, key ) )
         at = next( *at );
      return at;
   }

   // Adds the member. Requires: the member is in no map (asserted); its key is not in this map.
   void insert( Ptr< Member > member ) noexcept {
      Member* const added = member.release();
      require( !added->zetChainLink.linked_, "a member is in one map at a time" );
      auto&& key = added->zetKey();
      std::uint32_t const where = positionOf( key );
      Member*& place = placeOf( where, key );
      added->zetChainLink.next_ = place;
      added->zetChainLink.position_ = where;
      added->zetChainLink.linked_ = true;
      place = added;
      ++version_;
      if ( ++count_ > bucketCount() )
         resize( bits_ == 0 ? smallestTable : bits_ + growth );
   }

   // Removes and returns the member. Returns null when the key is absent.
   Ptr< Member > remove( Key const& key ) noexcept {
      std::uint32_t const where = positionOf( key );
      Member*& place = placeOf( where, key );
      return place && isAt( *place, where, key ) ? unlink( place ) : nullptr;
   }
   // Removes this member, never another of the same key. Returns false when the member is not in
   // the map.
   bool remove( Member const& member ) noexcept {
      auto&& key = member.zetKey();
      Member*& place = placeOf( positionOf( key ), key );
      return place == &member && unlink( place ) != nullptr;
   }

   // Drops every member.
   void clear() noexcept {
      for ( std::size_t bucket = 0; bucket < bucketCount(); ++bucket ) {
         fetchAhead( buckets_, bucket, bucketCount() );
         for ( Member* at = std::exchange( buckets_[ bucket ], nullptr ); at; ) {
            Ptr< Member > const dropped = Ptr< Member >::adopt( at );
            at->zetChainLink.linked_ = false;
            at = std::exchange( at->zetChainLink.next_, nullptr );
         }
      }
      count_ = 0;
      ++version_;
      resize( 0 );
   }

   // Keeps the table's size while the collection is being emptied, so that the walk stays linear.
   void beingEmptiedIs( bool beingEmptied ) noexcept {
      beingEmptied_ = beingEmptied;
      if ( !beingEmptied )
         shrink();
   }

   // Calls visit( member ) in order, without counting references.
   // Requires: nothing is inserted or removed meanwhile.
   template < class Visit > void forEach( Visit visit ) const {
      Member* const* const end = buckets_ + bucketCount();
      for ( Member* const* bucket = buckets_; bucket != end; ++bucket )
         for ( Member* at = *bucket; at; at = next( *at ) )
            visit( *at );
   }
   // Returns an iterator at the first member for which is( member ) is true. Searches in forEach's
   // way.
   template < class Is > Iterator firstThat( Is is ) const {
      Member* const* const end = buckets_ + bucketCount();
      for ( Member* const* bucket = buckets_; bucket != end; ++bucket )
         for ( Member* at = *bucket; at; at = next( *at ) )
            if ( is( *at ) )
               return Iterator( *this, at );
      return this->end();
   }

   Iterator begin() const noexcept { return Iterator( *this, firstFrom( 0 ) ); }
   Iterator end() const noexcept { return Iterator( *this, nullptr ); }
   // Returns an iterator at the member of that key or, when it is absent, at the one that would
   // follow it.
   Iterator from( Key const& key ) const noexcept {
      return Iterator( *this, successor( positionOf( key ), key, false ) );
   }

 private:
   static constexpr unsigned int smallestTable = 2;
   // The table grows fourfold, so that members are rarely moved.
   static constexpr unsigned int growth = 2;
   static constexpr std::size_t sparse = 8;

   std::size_t bucketCount() const noexcept { return std::size_t{ 1 } << bits_; }
   std::size_t bucketOf( std::uint32_t position ) const noexcept {
      return static_cast< std::size_t >( std::uint64_t{ position } << bits_ >> 32 );
   }

   // Makes the processor load members that a walk will reach soon: members lie anywhere.
   static void fetchAhead( Member* const* table, std::size_t bucket, std::size_t size ) noexcept {
      constexpr std::size_t ahead = 8;
      if ( bucket + ahead < size )
         __builtin_prefetch( table[ bucket + ahead ] );
   }

   static Member* next( Member const& member ) noexcept { return member.zetChainLink.next_; }
   static bool isAt( Member const& member, std::uint32_t where, Key const& key ) noexcept {
      return member.zetChainLink.position_ == where && member.zetKey() == key;
   }
   // Returns true if the member comes before the key.
   static bool precedes( Member const& member, std::uint32_t where, Key const& key ) noexcept {
      std::uint32_t const place = member.zetChainLink.position_;
      return place < where || ( place == where && member.zetKey() < key );
   }
   // Returns the link to the first member that does not come before the key. That link is null at
   // the end of the chain.
   Member*& placeOf( std::uint32_t where, Key const& key ) noexcept {
      Member** at = &buckets_[ bucketOf( where ) ];
      while ( *at && precedes( **at, where, key ) )
         at = &( *at )->zetChainLink.next_;
      return *at;
   }
   Member* firstFrom( std::size_t bucket ) const noexcept {
      for ( ; bucket < bucketCount(); ++bucket )
         if ( buckets_[ bucket ] )
            return buckets_[ bucket ];
      return nullptr;
   }
   // Returns the first member at the key or behind it; with `strictly`, behind it.
   Member* successor( std::uint32_t where, Key const& key, bool strictly ) const noexcept {
      std::size_t const bucket = bucketOf( where );
      Member* at = buckets_[ bucket ];
      while ( at && ( precedes( *at, where, key ) || ( strictly && isAt( *at, where, key ) ) ) )
         at = next( *at );
      return at ? at : firstFrom( bucket + 1 );
   }
   // Returns the successor of a member that may have left the map.
   Member* successor( Member const& member ) const noexcept {
      return successor( member.zetChainLink.position_, member.zetKey(), true );
   }
   // Returns the successor of a member that is in the map.
   Member* following( Member const& member ) const noexcept {
      Member* const chained = next( member );
      return chained ? chained : firstFrom( bucketOf( member.zetChainLink.position_ ) + 1 );
   }

   Ptr< Member > unlink( Member*& place ) noexcept {
      Member* const member = place;
      place = std::exchange( member->zetChainLink.next_, nullptr );
      member->zetChainLink.linked_ = false;
      --count_;
      ++version_;
      if ( !beingEmptied_ )
         shrink();
      return Ptr< Member >::adopt( member );
   }

   void shrink() noexcept {
      unsigned int bits = bits_;
      while ( bits > smallestTable && count_ < ( std::size_t{ 1 } << bits ) / sparse )
         --bits;
      if ( bits != bits_ )
         resize( bits );
   }

   // Keeps the present table when memory is short. That costs time only.
   void resize( unsigned int bits ) noexcept {
      std::size_t const size = std::size_t{ 1 } << bits;
      Member** const table = bits == 0 ? &only_ : new ( std::nothrow ) Member* [ size ] {};
      if ( !table || table == buckets_ )
         return;
      Member** const old = std::exchange( buckets_, table );
      std::size_t const oldCount = bucketCount();
      bits_ = bits;
      Member** tail = table;
      std::size_t tailBucket = 0;
      for ( std::size_t bucket = 0; bucket < oldCount; ++bucket ) {
         fetchAhead( old, bucket, oldCount );
         for ( Member* at = std::exchange( old[ bucket ], nullptr ); at; ) {
            std::size_t const target = bucketOf( at->zetChainLink.position_ );
            if ( target != tailBucket )
               tail = table + ( tailBucket = target );
            *tail = at;
            tail = &at->zetChainLink.next_;
            at = std::exchange( *tail, nullptr );
         }
      }
      if ( old != &only_ )
         delete[] old;
   }

   // The one bucket of a small map.
   Member* only_ = nullptr;
   Member** buckets_ = &only_;
   std::size_t count_ = 0;
   std::uint32_t version_ = 0;
   // The number of buckets, as a power of two.
   unsigned int bits_ = 0;
   bool beingEmptied_ = false;
};

// Stands on a member and keeps it alive. Survives every change of the map's contents: after a
// change it finds its way on by the key of its member.
// Borrows: the map outlives it.
template < class Member, class Key > class HashMap< Member, Key >::Iterator {
 public:
   explicit operator bool() const noexcept { return member_ != nullptr; }
   Member& operator*() const noexcept { return *member_; }
   Member* operator->() const noexcept { return member_.get(); }
   Ptr< Member > const& member() const noexcept { return member_; }
   // Returns the key of the member that it stands on. Requires: not at the end.
   Key key() const noexcept { return member_->zetKey(); }

   Iterator& operator++() noexcept {
      // Dropped last: handlers may change the map when the member's last reference goes.
      Ptr< Member > const passed = std::move( member_ );
      member_ =
          version_ == map_->version_ ? map_->following( *passed ) : map_->successor( *passed );
      version_ = map_->version_;
      return *this;
   }

 private:
   friend class HashMap;
   Iterator( HashMap const& map, Member* member ) noexcept
       : map_( &map ), member_( member ), version_( map.version_ ) {}

   HashMap const* map_;
   Ptr< Member > member_;
   std::uint32_t version_;
};

} // namespace Zet
