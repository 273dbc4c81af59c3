#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/StackArena.h"

#include <cstddef>
#include <new>

namespace Zet {

// Walks the members that a list had when the walk began. Holds each until it is passed. Has room
// for a few members inside.
template < class List > class SnapshotIterator {
 public:
   using Member = typename List::Member;

   explicit SnapshotIterator( List const& list )
       : members_( placesFor( list.count() ) ), at_( members_ ), end_( members_ ) {
      for ( Member* member = list.head(); member; member = List::next( *member ) )
         new ( end_++ ) Held( member );
   }
   SnapshotIterator( SnapshotIterator const& ) = delete;
   SnapshotIterator& operator=( SnapshotIterator const& ) = delete;
   ~SnapshotIterator() {
      while ( at_ != end_ )
         release();
      if ( !isRoom( members_ ) )
         stackArenaDelete( members_ );
   }

   explicit operator bool() const noexcept { return at_ != end_; }
   Member& operator*() const noexcept { return **at_; }
   Member* operator->() const noexcept { return at_->get(); }

   // Goes on to the next member that its owner still holds. Destroys the members that only the
   // snapshot keeps.
   void advance() noexcept {
      release();
      while ( at_ != end_ && ( *at_ )->references() == 1 )
         [[unlikely]] release();
   }

 private:
   using Held = Ptr< Member >;
   static constexpr std::size_t few = 8;

   Held* placesFor( std::size_t count ) {
      void* const places = count <= few ? room_ : stackArenaNew( count * sizeof( Held ) );
      return static_cast< Held* >( places );
   }
   bool isRoom( void const* places ) const noexcept { return places == room_; }
   // Advances first: a destructor that runs now finds the iterator behind the member.
   void release() noexcept { ( at_++ )->~Held(); }

   alignas( Held ) std::byte room_[ few * sizeof( Held ) ];
   Held* const members_;
   Held* at_;
   Held* end_;
};

} // namespace Zet
