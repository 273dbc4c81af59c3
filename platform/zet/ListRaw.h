#pragma once

#include "platform/zet/Assert.h"
#include "platform/zet/Export.h"

#include <cstdint>

namespace Zet {

// A list that refers to its members without holding them.
class ZET_EXPORT BaseRefCollection {
 public:
   virtual ~BaseRefCollection() = default;
   BaseRefCollection( BaseRefCollection const& ) = delete;
   BaseRefCollection& operator=( BaseRefCollection const& ) = delete;
   // Forgets every member. Changes nothing else of the members.
   virtual void deleteAll() = 0;

 protected:
   BaseRefCollection() = default;
};

// The place of a member in its ListRaw.
template < class Member > struct ListRawHook { Member* next = nullptr; };

// The list of an entity's notifiees, linked through the members' hooks. It allocates nothing.
// Removal walks the list.
template < class M > class ZET_EXPORT ListRaw final : public BaseRefCollection {
 public:
   using Member = M;
   using Hook = ListRawHook< Member >;

   // Returns a number that grows with every change.
   std::uint32_t version() const noexcept { return version_; }
   std::uint32_t count() const noexcept { return count_; }
   Member* head() const noexcept { return head_; }
   static Member* next( Member const& member ) noexcept { return member.next; }

   // Adds the member as the first. Requires: the member is in no list; its absence from this list
   // is asserted.
   void insertHead( Member& member ) noexcept {
      requireAbsent( member );
      member.next = head_;
      head_ = &member;
      if ( !tail_ )
         tail_ = &member;
      inserted();
   }
   void insertTail( Member& member ) noexcept {
      requireAbsent( member );
      ( tail_ ? tail_->next : head_ ) = &member;
      tail_ = &member;
      inserted();
   }
   // Removes the member of that hook. The hook is taken because it outlives the rest of a member
   // under destruction. Changes nothing when the member is not in the list.
   void remove( Hook& hook ) noexcept {
      Member* before = nullptr;
      for ( Member* at = head_; at; before = at, at = at->next ) {
         if ( static_cast< Hook* >( at ) != &hook )
            continue;
         ( before ? before->next : head_ ) = hook.next;
         if ( tail_ == at )
            tail_ = before;
         hook.next = nullptr;
         ++version_;
         --count_;
         return;
      }
   }
   void deleteAll() override {
      while ( head_ ) {
         Member* const member = head_;
         head_ = member->next;
         member->next = nullptr;
      }
      tail_ = nullptr;
      count_ = 0;
      ++version_;
   }

 private:
   void requireAbsent( Member const& member ) const noexcept {
      require( !member.next && tail_ != &member, "a notifiee joins a list once" );
   }
   void inserted() noexcept {
      ++version_;
      ++count_;
   }

   std::uint32_t version_ = 0;
   std::uint32_t count_ = 0;
   Member* head_ = nullptr;
   Member* tail_ = nullptr;
};

} // namespace Zet
