#pragma once

#include "platform/zet/attrlog/StreamAdapter.h"

namespace AttrLog {

// The notifiee through which an adapter hears of its entity T. It stands for a stream, so a change
// reaches it as doNotification( id, key ) of its adapter, whatever attribute it is.
// Borrows: the adapter, which owns it and says goodbye by adapterIs( null ).
template < class T > class Observer final : public T::Notifiee {
   using Adapter = Zet::Entity::ZetNboAttrLogSa;

 public:
   Observer( Zet::Ptr< T > const& entity, Adapter& adapter ) : adapter_( &adapter ) {
      this->hearsAlikeIs( true );
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
