#pragma once

#include "platform/zet/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace Zet {

// The bits in reversed order: bit 0 becomes bit 31.
constexpr std::uint32_t
bitReverse( std::uint32_t bits ) noexcept {
   bits = __builtin_bswap32( bits );
   bits = ( bits >> 4 & 0x0f0f0f0f ) | ( bits & 0x0f0f0f0f ) << 4;
   bits = ( bits >> 2 & 0x33333333 ) | ( bits & 0x33333333 ) << 2;
   return ( bits >> 1 & 0x55555555 ) | ( bits & 0x55555555 ) << 1;
}

// The place of a member in its HashMap; only the map reads or writes it.
template < class Member > class ChainLink {
   template < class, class > friend class HashMap;
   Ptr< Member > next_;
};

// A keyed collection that holds one reference on each member and is linked through the members.
//
// A member offers `zetKey()`, which does not change while it is in the map, and a public
// `ChainLink< Member > zetChainLink`. A key offers hash(), == and <.
//
// The order depends on the set of keys alone: ascending by bit-reversed hash, then by key. The
// bucket is the top bits of that position and chains are sorted, so that walking the buckets
// is walking in order, and growing or shrinking the table moves nobody past another.
template < class Member, class Key > class HashMap {
 public:
   class Iterator;

   HashMap() = default;
   HashMap( HashMap const& ) = delete;
   HashMap& operator=( HashMap const& ) = delete;
   ~HashMap() { clear(); }

   std::size_t count() const noexcept { return count_; }
   bool empty() const noexcept { return count_ == 0; }
   // Incremented by every change.
   std::uint32_t version() const noexcept { return version_; }

   // Borrows: valid until the member is removed. Null when the key is absent.
   Member* find( Key const& key ) const noexcept {
      Member* at = buckets_[ bucketOf( position( key ) ) ].get();
      while ( at && !( at->zetKey() == key ) )
         at = at->zetChainLink.next_.get();
      return at;
   }

   // Requires: the member is in no map, its key not in this one.
   void insert( Ptr< Member > member ) noexcept {
      auto&& key = member->zetKey();
      Ptr< Member >& place = placeOf( position( key ), key );
      member->zetChainLink.next_ = std::move( place );
      place = std::move( member );
      ++version_;
      if ( ++count_ > bucketCount() )
         resize( bits_ == 0 ? smallestTable : bits_ + 1 );
   }

   // Null when the key is absent.
   Ptr< Member > remove( Key const& key ) noexcept {
      Ptr< Member >& place = placeOf( position( key ), key );
      return place && place->zetKey() == key ? unlink( place ) : nullptr;
   }
   // Removes this very member, no other of the same key. False when it is not in the map.
   bool remove( Member const& member ) noexcept {
      auto&& key = member.zetKey();
      Ptr< Member >& place = placeOf( position( key ), key );
      return place == &member && unlink( place ) != nullptr;
   }

   // Drops every member at once.
   void clear() noexcept {
      for ( std::size_t bucket = 0; bucket < bucketCount(); ++bucket )
         for ( Ptr< Member > member = std::move( buckets_[ bucket ] ); member; )
            member = std::move( member->zetChainLink.next_ );
      count_ = 0;
      ++version_;
      resize( 0 );
   }

   // While a collection is being emptied its table keeps its size, so that the walk stays linear.
   void beingEmptiedIs( bool beingEmptied ) noexcept {
      beingEmptied_ = beingEmptied;
      if ( !beingEmptied )
         shrink();
   }

   // Calls visit( member ) in order, without counting references.
   // Requires: nothing is inserted or removed meanwhile.
   template < class Visit > void forEach( Visit visit ) const {
      for ( std::size_t bucket = 0; bucket < bucketCount(); ++bucket )
         for ( Member* at = buckets_[ bucket ].get(); at; at = at->zetChainLink.next_.get() )
            visit( *at );
   }

   Iterator begin() const noexcept { return Iterator( *this, firstFrom( 0 ), version_ ); }
   // At the member of that key, or at the one that would follow it.
   Iterator from( Key const& key ) const noexcept {
      return Iterator( *this, successor( position( key ), key, false ), version_ );
   }

 private:
   static constexpr unsigned int smallestTable = 3;

   static std::uint32_t position( Key const& key ) noexcept { return bitReverse( key.hash() ); }
   std::size_t bucketCount() const noexcept { return std::size_t{ 1 } << bits_; }
   std::size_t bucketOf( std::uint32_t position ) const noexcept {
      return static_cast< std::size_t >( std::uint64_t{ position } << bits_ >> 32 );
   }

   // Whether the member comes before the key.
   static bool precedes( Member const& member, std::uint32_t where, Key const& key ) noexcept {
      auto&& own = member.zetKey();
      std::uint32_t const place = position( own );
      return place < where || ( place == where && own < key );
   }
   // The link to the first member that does not come before the key; null at the end of its chain.
   Ptr< Member >& placeOf( std::uint32_t where, Key const& key ) noexcept {
      Ptr< Member >* at = &buckets_[ bucketOf( where ) ];
      while ( *at && precedes( **at, where, key ) )
         at = &( *at )->zetChainLink.next_;
      return *at;
   }
   Member* firstFrom( std::size_t bucket ) const noexcept {
      for ( ; bucket < bucketCount(); ++bucket )
         if ( buckets_[ bucket ] )
            return buckets_[ bucket ].get();
      return nullptr;
   }
   // The first member at the key or behind it; with `strictly`, behind it.
   Member* successor( std::uint32_t where, Key const& key, bool strictly ) const noexcept {
      std::size_t const bucket = bucketOf( where );
      Member* at = buckets_[ bucket ].get();
      while ( at && ( precedes( *at, where, key ) || ( strictly && at->zetKey() == key ) ) )
         at = at->zetChainLink.next_.get();
      return at ? at : firstFrom( bucket + 1 );
   }
   Member* successor( Member const& member ) const noexcept {
      auto&& key = member.zetKey();
      return successor( position( key ), key, true );
   }

   Ptr< Member > unlink( Ptr< Member >& place ) noexcept {
      Ptr< Member > member = std::move( place );
      place = std::move( member->zetChainLink.next_ );
      --count_;
      ++version_;
      if ( !beingEmptied_ )
         shrink();
      return member;
   }

   void shrink() noexcept {
      unsigned int bits = bits_;
      while ( bits > smallestTable && count_ < ( std::size_t{ 1 } << bits ) / 4 )
         --bits;
      if ( bits != bits_ )
         resize( bits );
   }

   // Where memory is short the table stays as it is, which costs time, not truth.
   void resize( unsigned int bits ) noexcept {
      std::size_t const size = std::size_t{ 1 } << bits;
      Ptr< Member >* const table = bits == 0 ? &only_ : new ( std::nothrow ) Ptr< Member >[ size ];
      if ( !table || table == buckets_ )
         return;
      Ptr< Member >* const old = std::exchange( buckets_, table );
      std::size_t const oldCount = bucketCount();
      bits_ = bits;
      Ptr< Member >* tail = table;
      std::size_t tailBucket = 0;
      for ( std::size_t bucket = 0; bucket < oldCount; ++bucket ) {
         for ( Ptr< Member > member = std::move( old[ bucket ] ); member; ) {
            std::size_t const target = bucketOf( position( member->zetKey() ) );
            if ( target != tailBucket )
               tail = table + ( tailBucket = target );
            Ptr< Member > next = std::move( member->zetChainLink.next_ );
            *tail = std::move( member );
            tail = &( *tail )->zetChainLink.next_;
            member = std::move( next );
         }
      }
      if ( old != &only_ )
         delete[] old;
   }

   // The one bucket of a small map.
   Ptr< Member > only_;
   Ptr< Member >* buckets_ = &only_;
   std::size_t count_ = 0;
   std::uint32_t version_ = 0;
   // The number of buckets is two to this power.
   unsigned int bits_ = 0;
   bool beingEmptied_ = false;
};

// Stands on a member, which it keeps alive, and survives whatever happens to the map's contents:
// after a change it finds its way on by the key of the member that it stands on.
// Borrows: the map outlives it.
template < class Member, class Key > class HashMap< Member, Key >::Iterator {
 public:
   explicit operator bool() const noexcept { return member_ != nullptr; }
   Member& operator*() const noexcept { return *member_; }
   Member* operator->() const noexcept { return member_.get(); }
   Ptr< Member > const& member() const noexcept { return member_; }
   Key key() const noexcept { return member_->zetKey(); }

   Iterator& operator++() noexcept {
      Member* next = version_ == map_->version_ ? member_->zetChainLink.next_.get() : nullptr;
      member_ = next ? next : map_->successor( *member_ );
      version_ = map_->version_;
      return *this;
   }

 private:
   friend class HashMap;
   Iterator( HashMap const& map, Member* member, std::uint32_t version ) noexcept
       : map_( &map ), member_( member ), version_( version ) {}

   HashMap const* map_;
   Ptr< Member > member_;
   std::uint32_t version_;
};

} // namespace Zet
