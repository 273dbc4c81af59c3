#pragma once

#include "adapters/notify/Description.h"
#include "adapters/notify/Dispatch.h"
#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/attrlog/StreamAdapter.h"

namespace Notify {

// Returns true if the notifiee stands for an attribute log. An attribute log hears of a change
// first.
inline bool
reactsForAttributeLog( Zet::PtrInterface::NotifieeConst const& notifiee ) {
   Zet::Ptr< Zet::PtrInterface const > const reactor = notifiee.zetReactor();
   // Most notifiees stand for themselves.
   return reactor != &notifiee &&
          dynamic_cast< Zet::Entity::ZetNboAttrLogSa const* >( reactor.get() );
}

// The common part of every entity E that is described by rows: its list of notifiees, delivery, the
// counting events, names of attributes and the type descriptor. `Base` is E's base type.
//
// E has a nested NotifieeConst, a NotifieeList of it, and a mutable member `notifiees_`. E's
// destructor empties `notifiees_`. E befriends this class.
template < class E, class Base = Zet::Entity > class ZET_EXPORT NotifyingEntity : public Base {
 public:
   static Zet::Ptr< Zet::ZetType const > _fwkType() {
      static Zet::ZetType const& type =
          Zet::ZetType::ZetTypeIs( nameSpaceOf< E >(), Description< E >::name, Base::_fwkType() );
      return &type;
   }
   Zet::Ptr< Zet::ZetType const > fwkType() const override { return E::_fwkType(); }

   void isNondestructingIs( bool nondestructing ) override {
      if ( nondestructing == this->isNondestructing() )
         return;
      Base::isNondestructingIs( nondestructing );
      dispatch< &E::NotifieeConst::onIsNondestructing >( list(), Zet::isNondestructingAttributeId );
   }
   void zeroReferencesIs( bool ) override {
      dispatch< &E::NotifieeConst::onZeroReferences >( list(), Zet::zeroReferencesAttributeId );
   }

   Zet::String8 attributeString( Zet::AttributeId id ) const override {
      std::string_view const name = attributeName< E >( id );
      return name.empty() ? Base::attributeString( id ) : Zet::String8( name );
   }

   // Adds the notifiee to the list. It is const because notifiees join and leave entities that they
   // may only read. Unless E fixes the list's order, an attribute log goes first.
   // Requires: the notifiee is in no list; a second entry in this list is an assertion. Called by
   // the notifiee alone. Others call the notifiee's isRegisteredNotifieeIs( true ), which does
   // nothing when called again.
   template < class N > void notifieeIs( N& notifiee ) const {
      if ( E::attributeLogGoesFirst && reactsForAttributeLog( notifiee ) )
         list().insertHead( notifiee );
      else
         list().insertTail( notifiee );
   }
   template < class Hook > void notifieeDel( Hook& notifiee ) const noexcept {
      list().remove( notifiee );
   }

 protected:
   using Base::Base;

   // Tells the notifiees that the attribute read by `Get` has changed, at `key` if it is keyed.
   template < auto Get, class... Key > void notify( Key const&... key ) const {
      constexpr auto const& row = rowOf< E, Get >();
      dispatch< row.handler >( list(), row.id, key... );
   }

   // Does the work of a setter: stores the value and tells the notifiees, unless it is stored
   // already.
   template < auto Get, class V > void attributeIs( V& stored, V value ) {
      if ( value == stored )
         return;
      stored = std::move( value );
      notify< Get >();
   }

   static constexpr bool attributeLogGoesFirst = true;

 private:
   auto& list() const noexcept { return static_cast< E const* >( this )->notifiees_; }
};

} // namespace Notify
