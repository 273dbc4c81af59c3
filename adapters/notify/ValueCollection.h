#pragma once

#include "adapters/notify/KeyedCollection.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/PtrInterface.h"

#include <type_traits>

namespace Notify {

// A member of a collection of values. `Tag` distinguishes the member types of two collections. A
// truth is kept in the link, where it takes no memory.
template < class K, class V, class Tag > class ValueMember : public Zet::PtrInterface {
   static constexpr bool isTruth = std::is_same_v< V, bool >;
   struct None {
      explicit None( V ) {}
   };

 public:
   using Value = V;

   ValueMember( K key, V value ) : key_( key ), value_( value ) { valueIs( value ); }

   K zetKey() const noexcept { return key_; }
   V value() const noexcept {
      if constexpr ( isTruth )
         return zetChainLink.mark();
      else
         return value_;
   }
   void valueIs( V value ) noexcept {
      if constexpr ( isTruth )
         zetChainLink.markIs( value );
      else
         value_ = value;
   }

 private:
   K key_;
   [[no_unique_address]] std::conditional_t< isTruth, None, V > value_;

 public:
   Zet::ChainLink< ValueMember, K > zetChainLink;
};

// A collection of plain values. `Changed` is the owner's operation void( key, member ). It ends
// every adding, changing and removing.
template < auto Changed > class ValueCollection : public KeyedCollection< Changed > {
   using Base = KeyedCollection< Changed >;

 public:
   using typename Base::Key;
   using typename Base::Member;
   using typename Base::Owner;
   using Value = typename Member::Value;

   // Returns the value at the key, or the type's empty value.
   Value value( Key const& key ) const noexcept {
      Member const* const member = this->find( key );
      return member ? member->value() : Value{};
   }

   void valueIs( Owner& owner, Key const& key, Value value ) {
      Zet::Ptr< Member > member = this->find( key );
      if ( !member )
         member = newMember( key, value );
      else if ( member->value() == value )
         return;
      else
         member->valueIs( value );
      ( owner.*Changed )( key, member );
   }

   // Removes the value and returns it. Returns the type's empty value when there was none.
   Value valueDel( Owner& owner, Key const& key ) {
      Zet::Ptr< Member > const member = this->del( owner, key );
      return member ? member->value() : Value{};
   }

   // Adds the value. Tells nobody. Requires: the key is absent.
   Zet::Ptr< Member > newMember( Key const& key, Value value ) {
      Zet::Ptr< Member > const member = Zet::make< Member >( key, value );
      this->insert( member );
      return member;
   }
};

} // namespace Notify
