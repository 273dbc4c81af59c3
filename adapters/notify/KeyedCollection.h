#pragma once

#include "platform/zet/HashMap.h"
#include "platform/zet/Ptr.h"

#include <utility>

namespace Notify {

namespace Detail {

template < class Hook > struct RemovalHook;

template < class O, class K, class M >
struct RemovalHook< void ( O::* )( K, Zet::Ptr< M > const& ) > {
   using Owner = O;
   using Key = K;
   using Member = M;
};

} // namespace Detail

// A collection of its owner. `Removed` is the owner's operation void( key, member ). It ends every
// removal and tells whoever has to know. The owner is passed to each call, not stored.
//
// Its two iterators walk the members in the collection's order:
//
//    for ( auto at = config->groupIterator(); at; ++at )
//       if ( at->minLinks() == 0 )
//          at.del();
//
// An iterator holds the member that it stands on, even when that member has left the collection. It
// finds its way on by the member's key. Whatever is added or removed meanwhile, it passes every
// member that stays exactly once, and every added member that lies ahead of it. It tests false at
// the end. There, *, ->, key(), del() and ++ must not be used.
//
// `Iterator` also holds the owner. `IteratorConst` borrows the collection: its owner must live
// until the last step of the iterator.
template < auto Removed > class KeyedCollection {
   using Hook = Detail::RemovalHook< decltype( Removed ) >;

 public:
   using Owner = typename Hook::Owner;
   using Key = typename Hook::Key;
   using Member = typename Hook::Member;
   using Members = Zet::HashMap< Member, Key >;
   using IteratorConst = typename Members::Iterator;

   class Iterator : public IteratorConst {
    public:
      Iterator& operator++() noexcept {
         IteratorConst::operator++();
         return *this;
      }
      // Removes the member that it stands on and tells of the removal. The iterator still stands
      // there; ++ goes on to the next. Returns false, and tells nobody, when the member had already
      // left.
      bool del() { return collection_->del( *owner_, Zet::Ptr< Member >( this->member() ) ); }

    private:
      friend class KeyedCollection;
      Iterator( Owner& owner, KeyedCollection& collection, IteratorConst at )
          : IteratorConst( std::move( at ) ), owner_( &owner ), collection_( &collection ) {}

      Zet::Ptr< Owner > owner_;
      KeyedCollection* collection_;
   };

   Members const& members() const noexcept { return members_; }
   // Keeps the table's size when members are removed.
   void keepTable() noexcept { members_.keepsTableIs( true ); }
   // Returns null when the key is absent. Borrows: valid until the member is removed.
   Member* find( Key const& key ) const noexcept { return members_.find( key ); }
   // Adds the member. Requires: the member's key is absent.
   void insert( Zet::Ptr< Member > member ) noexcept { members_.insert( std::move( member ) ); }

   Iterator iterator( Owner& owner ) { return Iterator( owner, *this, members_.begin() ); }
   // Returns an iterator at the member of that key or, when it is absent, at the one that would
   // follow it.
   Iterator iterator( Owner& owner, Key const& key ) {
      return Iterator( owner, *this, members_.from( key ) );
   }
   IteratorConst iteratorConst() const noexcept { return members_.begin(); }
   IteratorConst iteratorConst( Key const& key ) const noexcept { return members_.from( key ); }

   // Removes and returns the member, or null. Tells nobody.
   Zet::Ptr< Member > take( Key const& key ) noexcept { return members_.remove( key ); }
   // Removes and returns the member, or null. Tells of the removal.
   Zet::Ptr< Member > del( Owner& owner, Key const& key ) {
      Zet::Ptr< Member > const member = take( key );
      if ( member )
         ( owner.*Removed )( key, member );
      return member;
   }

   // Removes every member in order, even those that a handler inserts meanwhile.
   void delAll( Owner& owner ) {
      Emptying const emptying( owner, members_ );
      while ( !members_.empty() )
         for ( Iterator at = iterator( owner ); at; ) {
            Zet::Ptr< Member > const member = at.member();
            ++at;
            del( owner, member );
         }
   }

 private:
   // Keeps the table's size, and the owner, while the collection is emptied, so that the walk stays
   // linear.
   class Emptying {
    public:
      Emptying( Owner& owner, Members& members )
          : owner_( &owner ), members_( members ), kept_( members.keepsTable() ) {
         members_.keepsTableIs( true );
      }
      Emptying( Emptying const& ) = delete;
      Emptying& operator=( Emptying const& ) = delete;
      ~Emptying() { members_.keepsTableIs( kept_ ); }

    private:
      Zet::Ptr< Owner > owner_;
      Members& members_;
      bool const kept_;
   };

   bool del( Owner& owner, Zet::Ptr< Member > const& member ) {
      if ( !members_.remove( *member ) )
         return false;
      ( owner.*Removed )( member->zetKey(), member );
      return true;
   }

   Members members_;
};

} // namespace Notify
