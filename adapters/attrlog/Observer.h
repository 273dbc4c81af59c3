#pragma once

#include "platform/zet/UntypedNotifiee.h"
#include "platform/zet/attrlog/StreamAdapter.h"

namespace AttrLog {

// The notifiee through which an adapter hears of its entity T. Forwards every change to the
// adapter's doNotification( id, key ).
// Borrows: the adapter, which owns this notifiee and detaches it by adapterIs( null ).
template < class T > class Observer final : public Zet::UntypedNotifiee< T > {
   using Adapter = Zet::Entity::ZetNboAttrLogSa;

 public:
   Observer( Zet::Ptr< T > const& entity, Adapter& adapter ) : adapter_( &adapter ) {
      this->notifierIs( entity );
      this->isRegisteredNotifieeIs( true );
   }
   static Zet::Ptr< Observer > ZetNboAttrLogSaAdapter_Is( Zet::Ptr< T > const& entity,
                                                          Adapter& adapter ) {
      return Zet::make< Observer >( entity, adapter );
   }

   Zet::Ptr< Zet::PtrInterface const > zetReactor() const override { return adapter_; }
   Zet::PtrInterface const* zetRawReactor() const override { return adapter_; }
   bool isStreamAdapter() const override { return true; }
   void onChange( Zet::AttributeId id, void const* key ) override {
      if ( adapter_ )
         adapter_->doNotification( id, const_cast< void* >( key ) );
   }
   void onNotificationException( Zet::AttributeId id ) override {
      if ( adapter_ )
         adapter_->onNotificationException( id );
   }
   void onZeroReferences() override {
      if ( adapter_ )
         adapter_->onZeroReferences();
   }

   void adapterIs( Adapter* adapter ) noexcept { adapter_ = adapter; }

 private:
   Adapter* adapter_;
};

} // namespace AttrLog
