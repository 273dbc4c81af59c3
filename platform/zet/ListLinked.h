#pragma once

#include "platform/zet/ListRaw.h"

namespace Zet {

// The place of a member in its ListLinked.
template < class Member > struct ListLinkedHook {
   Member* next = nullptr;
   Member* previous = nullptr;
};

// Like ListRaw, for lists that grow with the number of groups, such as the interface directory's.
// It is linked both ways, so that leaving takes constant time.
template < class M > class ZET_EXPORT ListLinked final : public BaseRefCollection {
 public:
   using Member = M;
   using Hook = ListLinkedHook< Member >;

   std::uint32_t version() const noexcept { return version_; }
   std::uint32_t count() const noexcept { return count_; }
   Member* head() const noexcept { return head_; }
   static Member* next( Member const& member ) noexcept { return member.next; }

   void insertHead( Member& member ) noexcept { insert( member, nullptr, head_ ); }
   void insertTail( Member& member ) noexcept { insert( member, tail_, nullptr ); }
   // Removes the member. Changes nothing when the member is not in the list.
   void remove( Hook& hook ) noexcept {
      if ( !hook.previous && static_cast< Hook* >( head_ ) != &hook )
         return;
      ( hook.previous ? hook.previous->next : head_ ) = hook.next;
      ( hook.next ? hook.next->previous : tail_ ) = hook.previous;
      hook.next = hook.previous = nullptr;
      ++version_;
      --count_;
   }
   void deleteAll() override {
      while ( head_ )
         remove( *head_ );
      ++version_;
   }

 private:
   void insert( Member& member, Member* previous, Member* next ) noexcept {
      require( !member.previous && head_ != &member, "a notifiee joins a list once" );
      member.previous = previous;
      member.next = next;
      ( previous ? previous->next : head_ ) = &member;
      ( next ? next->previous : tail_ ) = &member;
      ++version_;
      ++count_;
   }

   std::uint32_t version_ = 0;
   std::uint32_t count_ = 0;
   Member* head_ = nullptr;
   Member* tail_ = nullptr;
};

} // namespace Zet
