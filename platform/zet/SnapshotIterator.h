#pragma once

#include "platform/zet/Ptr.h"
#include "platform/zet/StackArena.h"

#include <vector>

namespace Zet {

// The members that a list had when the walk began, held until they are passed.
template < class List > class SnapshotIterator {
 public:
   using Member = typename List::Member;

   explicit SnapshotIterator( List const& list ) {
      members_.reserve( list.count() );
      for ( Member* member = list.head(); member; member = List::next( *member ) )
         members_.emplace_back( member );
   }

   SnapshotIterator( SnapshotIterator const& ) = delete;
   SnapshotIterator& operator=( SnapshotIterator const& ) = delete;

   explicit operator bool() const noexcept { return index_ < members_.size(); }
   Member& operator*() const noexcept { return *members_[ index_ ]; }
   Member* operator->() const noexcept { return members_[ index_ ].get(); }

   // Goes on to the next member that its owner still holds. Those that only the snapshot keeps
   // are destroyed on the way.
   void advance() {
      members_[ index_++ ] = nullptr;
      while ( index_ < members_.size() && members_[ index_ ]->references() == 1 )
         members_[ index_++ ] = nullptr;
   }

 private:
   std::vector< Ptr< Member >, StackArenaAllocator< Ptr< Member > > > members_;
   unsigned int index_ = 0;
};

} // namespace Zet
