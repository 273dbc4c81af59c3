#pragma once

#include "platform/zet/Assert.h"
#include "platform/zet/BitReverse.h"
#include "platform/zet/Ptr.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
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

// True for a key that tells its position without reading memory. Members do not store the position
// of such a key. The key's type says so:
//
//    static constexpr bool knowsPosition = true;
template < class Key > inline constexpr bool knowsPosition = requires {
   requires Key::knowsPosition;
};

namespace Detail {

// Refers to a member, from a bucket or from the member before it. Two bits that are 0 in every
// pointer to a member are kept for something else.
template < class Member > class ChainPlace {
 public:
   static constexpr std::uintptr_t linkedBit = 1;
   static constexpr std::uintptr_t markBit = 2;

   Member* get() const noexcept {
      return reinterpret_cast< Member* >( word_ & ~bits ); // NOLINT(performance-no-int-to-ptr)
   }
   void set( Member* member ) noexcept {
      word_ = reinterpret_cast< std::uintptr_t >( member ) | ( word_ & bits );
   }
   bool bit( std::uintptr_t bit ) const noexcept { return ( word_ & bit ) != 0; }
   void bitIs( std::uintptr_t bit, bool on ) noexcept { word_ = on ? word_ | bit : word_ & ~bit; }

 private:
   static constexpr std::uintptr_t bits = linkedBit | markBit;

   // Has no initial value, so that a union may hold it.
   std::uintptr_t word_;
};

struct StoredPosition {
   std::uint32_t value = 0;
};
struct KnownPosition {};

} // namespace Detail

// The place of a member in its HashMap; only the map reads or writes it, except for the mark. `Key`
// is the key of the map. A key that knowsPosition makes the link smaller.
template < class Member, class Key = void > class ChainLink {
 public:
   // A bit that the member may use for itself.
   bool mark() const noexcept { return next_.bit( Place::markBit ); }
   void markIs( bool on ) noexcept { next_.bitIs( Place::markBit, on ); }

 private:
   template < class, class > friend class HashMap;
   using Place = Detail::ChainPlace< Member >;
   static constexpr bool storesPosition = !knowsPosition< Key >;

   // Holds a reference on the next member.
   Place next_{};
   // The position of the member's key, set once the member has been in a map. Chains are walked
   // without touching keys.
   [[no_unique_address]] std::conditional_t< storesPosition, Detail::StoredPosition,
                                             Detail::KnownPosition >
       position_;
};

// Makes the processor load an object that will be read soon.
template < class T >
void
fetch( T const& object ) noexcept {
   constexpr std::size_t line = 64;
   auto const* const at = reinterpret_cast< char const* >( &object );
   for ( std::size_t offset = 0; offset < sizeof( T ); offset += line )
      __builtin_prefetch( at + offset );
}

// A keyed collection that holds one reference on each member. It is linked through the members.
//
// A member offers `zetKey()`, which does not change while it is in the map, and a public
// `ChainLink< Member > zetChainLink` or `ChainLink< Member, Key > zetChainLink`. A key offers
// hash(), == and <.
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
      Member* at = buckets()[ bucketOf( where ) ].get();
      while ( at && !isAt( *at, where, key ) )
         at = next( *at );
      return at;
   }

   // Returns true if the members are few: at most `smallMap`.
   bool isSmall() const noexcept { return bits_ == smallBits; }
   // These make the processor load memory before it is needed. What a large collection reads is far
   // away, but the ways to several places can be taken at once.
   //
   // The bucket of a key that will be looked up; later, the bucket's first member.
   void fetchBucket( Key const& key ) const noexcept {
      __builtin_prefetch( &buckets()[ bucketOf( positionOf( key ) ) ] );
   }
   void fetchFirst( Key const& key ) const noexcept {
      __builtin_prefetch( buckets()[ bucketOf( positionOf( key ) ) ].get() );
   }
   // The first members of a small map's chains, or of the first chains of any other; later, the
   // second ones.
   void fetchFirst() const noexcept {
      for ( std::size_t bucket = 0; bucket < fewBuckets; ++bucket )
         __builtin_prefetch( buckets()[ bucket ].get() );
   }
   void fetchSecond() const noexcept {
      for ( std::size_t bucket = 0; bucket < fewBuckets; ++bucket )
         if ( Member const* const first = buckets()[ bucket ].get() )
            __builtin_prefetch( next( *first ) );
   }

   // Calls visit( other ) for the members behind this one, in order, until visit returns false. If
   // the member is in no map, there are none. Requires: the member is in no other map; nothing is
   // inserted or removed meanwhile.
   template < class Visit > void visitBehind( Member const& member, Visit visit ) const {
      if ( isLinked( member ) )
         for ( Member const* at = following( member ); at && visit( *at ); )
            at = following( *at );
   }

   // Adds the member. Requires: the member is in no map (asserted); its key is not in this map.
   void insert( Ptr< Member > member ) noexcept {
      Member* const added = member.release();
      require( !isLinked( *added ), "a member is in one map at a time" );
      auto&& key = added->zetKey();
      std::uint32_t const where = positionOf( key );
      Place& place = placeOf( where, key );
      linkOf( *added ).set( place.get() );
      linkOf( *added ).bitIs( Place::linkedBit, true );
      if constexpr ( storesPosition() )
         added->zetChainLink.position_.value = where;
      place.set( added );
      ++version_;
      if ( ++count_ > ( isSmall() ? smallMap : bucketCount() ) )
         resize( bits_ + growth );
   }

   // Removes and returns the member. Returns null when the key is absent.
   Ptr< Member > remove( Key const& key ) noexcept {
      std::uint32_t const where = positionOf( key );
      Place& place = placeOf( where, key );
      Member* const member = place.get();
      return member && isAt( *member, where, key ) ? unlink( place ) : nullptr;
   }
   // Removes this member, never another of the same key. Returns false when the member is not in
   // the map.
   bool remove( Member const& member ) noexcept {
      auto&& key = member.zetKey();
      Place& place = placeOf( positionOf( key ), key );
      return place.get() == &member && unlink( place ) != nullptr;
   }

   // Drops every member.
   void clear() noexcept {
      for ( std::size_t bucket = 0; bucket < bucketCount(); ++bucket ) {
         fetchAhead( buckets(), bucket, bucketCount() );
         Place& first = buckets()[ bucket ];
         Member* at = first.get();
         first.set( nullptr );
         while ( at ) {
            Ptr< Member > const dropped = Ptr< Member >::adopt( at );
            at = unlinked( *at );
         }
      }
      count_ = 0;
      ++version_;
      resize( smallBits );
   }

   // While true, removals leave the table as large as it is, so that it need not grow again. A walk
   // passes all its buckets.
   bool keepsTable() const noexcept { return keepsTable_; }
   void keepsTableIs( bool keepsTable ) noexcept {
      keepsTable_ = keepsTable;
      if ( !keepsTable )
         shrink();
   }

   // Calls visit( member ) in order, without counting references.
   // Requires: nothing is inserted or removed meanwhile.
   template < class Visit > void forEach( Visit visit ) const {
      Place const* const end = buckets() + bucketCount();
      for ( Place const* bucket = buckets(); bucket != end; ++bucket )
         for ( Member* at = bucket->get(); at; at = next( *at ) )
            visit( *at );
   }
   // Returns true if is( member ) is true for any member. Searches in forEach's way.
   template < class Is > bool any( Is is ) const {
      Place const* const end = buckets() + bucketCount();
      for ( Place const* bucket = buckets(); bucket != end; ++bucket )
         for ( Member* at = bucket->get(); at; at = next( *at ) )
            if ( is( *at ) )
               return true;
      return false;
   }

   Iterator begin() const noexcept { return Iterator( *this, empty() ? nullptr : firstFrom( 0 ) ); }
   Iterator end() const noexcept { return Iterator( *this, nullptr ); }
   // Returns an iterator at the member of that key or, when it is absent, at the one that would
   // follow it.
   Iterator from( Key const& key ) const noexcept {
      return Iterator( *this, successor( positionOf( key ), key, false ) );
   }

 private:
   using Place = Detail::ChainPlace< Member >;

   // The buckets inside of the map, as a power of two. They are enough for as many members as
   // `smallMap`: most maps have no table beside them.
   static constexpr unsigned int smallBits = 2;
   static constexpr std::size_t smallMap = 8;
   // The table grows fourfold, so that members are rarely moved.
   static constexpr unsigned int growth = 2;
   static constexpr std::size_t sparse = 8;

   std::size_t bucketCount() const noexcept { return std::size_t{ 1 } << bits_; }
   std::size_t bucketOf( std::uint32_t position ) const noexcept {
      return position >> ( 32 - bits_ );
   }
   Place* buckets() noexcept { return isSmall() ? few_.data() : many_; }
   Place const* buckets() const noexcept { return isSmall() ? few_.data() : many_; }

   // Makes the processor load members that a walk will reach soon: members lie anywhere.
   static void fetchAhead( Place const* table, std::size_t bucket, std::size_t size ) noexcept {
      constexpr std::size_t ahead = 8;
      if ( bucket + ahead < size )
         __builtin_prefetch( table[ bucket + ahead ].get() );
   }

   // A function, since a map may be a part of its member's class.
   static constexpr bool storesPosition() noexcept {
      return decltype( Member::zetChainLink )::storesPosition;
   }
   static Place& linkOf( Member& member ) noexcept { return member.zetChainLink.next_; }
   static bool isLinked( Member const& member ) noexcept {
      return member.zetChainLink.next_.bit( Place::linkedBit );
   }
   static Member* next( Member const& member ) noexcept { return member.zetChainLink.next_.get(); }
   static std::uint32_t positionOfMember( Member const& member ) noexcept {
      if constexpr ( storesPosition() )
         return member.zetChainLink.position_.value;
      else
         return positionOf( member.zetKey() );
   }
   static bool isAt( Member const& member, std::uint32_t where, Key const& key ) noexcept {
      return ( knowsPosition< Key > || positionOfMember( member ) == where ) &&
             member.zetKey() == key;
   }
   // Returns true if the member comes before the key.
   static bool precedes( Member const& member, std::uint32_t where, Key const& key ) noexcept {
      std::uint32_t const place = positionOfMember( member );
      return place < where || ( place == where && member.zetKey() < key );
   }
   // Returns the link to the first member that does not come before the key. That link is null at
   // the end of the chain.
   Place& placeOf( std::uint32_t where, Key const& key ) noexcept {
      Place* at = &buckets()[ bucketOf( where ) ];
      for ( Member* member = at->get(); member && precedes( *member, where, key );
            member = at->get() )
         at = &linkOf( *member );
      return *at;
   }
   Member* firstFrom( std::size_t bucket ) const noexcept {
      Place const* const table = buckets();
      for ( ; bucket < bucketCount(); ++bucket )
         if ( Member* const member = table[ bucket ].get() )
            return member;
      return nullptr;
   }
   // Returns the first member at the key or behind it; with `strictly`, behind it.
   Member* successor( std::uint32_t where, Key const& key, bool strictly ) const noexcept {
      std::size_t const bucket = bucketOf( where );
      Member* at = buckets()[ bucket ].get();
      while ( at && ( precedes( *at, where, key ) || ( strictly && isAt( *at, where, key ) ) ) )
         at = next( *at );
      return at ? at : firstFrom( bucket + 1 );
   }
   // Returns the successor of a member that may have left the map.
   Member* successor( Member const& member ) const noexcept {
      return successor( positionOfMember( member ), member.zetKey(), true );
   }
   // Returns the successor of a member that is in the map.
   Member* following( Member const& member ) const noexcept {
      Member* const chained = next( member );
      return chained ? chained : firstFrom( bucketOf( positionOfMember( member ) ) + 1 );
   }

   // Takes the member out of its chain, which the caller mends. Returns the member behind it.
   static Member* unlinked( Member& member ) noexcept {
      Member* const behind = next( member );
      linkOf( member ).set( nullptr );
      linkOf( member ).bitIs( Place::linkedBit, false );
      return behind;
   }
   Ptr< Member > unlink( Place& place ) noexcept {
      Member* const member = place.get();
      place.set( unlinked( *member ) );
      --count_;
      ++version_;
      if ( !keepsTable_ )
         shrink();
      return Ptr< Member >::adopt( member );
   }

   void shrink() noexcept {
      unsigned int bits = count_ <= smallMap / 2 ? smallBits : bits_;
      while ( bits > smallBits && count_ < ( std::size_t{ 1 } << bits ) / sparse )
         --bits;
      if ( bits != bits_ )
         resize( bits );
   }

   // Keeps the present table when memory is short. That costs time only.
   void resize( unsigned int bits ) noexcept {
      if ( bits == bits_ )
         return;
      Place* const larger =
          bits == smallBits ? nullptr : new ( std::nothrow ) Place[ std::size_t{ 1 } << bits ]{};
      if ( !larger && bits != smallBits )
         return;
      std::array< Place, fewBuckets > fewBefore{};
      if ( isSmall() )
         fewBefore = few_;
      Place* const before = isSmall() ? nullptr : many_;
      std::size_t const countBefore = bucketCount();
      if ( larger )
         many_ = larger;
      else
         few_ = {};
      bits_ = bits & 31;
      moveFrom( before ? before : fewBefore.data(), countBefore );
      delete[] before;
   }
   // Appends the members of another table, which has them in the same order.
   void moveFrom( Place const* from, std::size_t size ) noexcept {
      Place* const table = buckets();
      Place* tail = table;
      std::size_t tailBucket = 0;
      for ( std::size_t bucket = 0; bucket < size; ++bucket ) {
         fetchAhead( from, bucket, size );
         for ( Member* at = from[ bucket ].get(); at; ) {
            std::size_t const target = bucketOf( positionOfMember( *at ) );
            if ( target != tailBucket )
               tail = table + ( tailBucket = target );
            tail->set( at );
            tail = &linkOf( *at );
            at = tail->get();
            tail->set( nullptr );
         }
      }
   }

   static constexpr std::size_t fewBuckets = std::size_t{ 1 } << smallBits;
   // The chains.
   union {
      std::array< Place, fewBuckets > few_{}; // Of a small map.
      Place* many_;                           // Of any other.
   };
   std::uint32_t count_ = 0;
   std::uint32_t version_ : 26 = 0;
   // The number of buckets, as a power of two.
   std::uint32_t bits_ : 5 = smallBits;
   std::uint32_t keepsTable_ : 1 = false;
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
