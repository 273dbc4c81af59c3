#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "adapters/notify/LoggedEntity.h"

namespace Notify {

template < class E >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
LoggedEntity< E >::zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) const {
   return out && out->demuxer() ? out->demuxer()->adapter( *this ) : nullptr;
}

template < class E >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
LoggedEntity< E >::zetNboAttrLogSa( Zet::Ptr< Out const > const& out ) {
   return std::as_const( *this ).zetNboAttrLogSa( out );
}

template < class E >
bool
LoggedEntity< E >::zetHasAttrLogInterface() const {
   return true;
}

template < class E >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
LoggedEntity< E >::zetNboAttrLogSaForMsgChannel( Zet::Ptr< Adapter > const& adapter ) {
   return adapter ? zetNboAttrLogSa( adapter->nboAttrLogOut() ) : nullptr;
}

template < class E >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
LoggedEntity< E >::zetNboAttrLogSaIs( Zet::PtrInterface::NotifieeConst::Zet_BitSet mask,
                                      unsigned int flags, Zet::Ptr< Out > const& out,
                                      Zet::PtrInterface* owner ) {
   if ( Zet::Ptr< Adapter > const attached = zetNboAttrLogSa( out ) ) {
      if ( Zet::ptrCast< AttrLog::AdapterOf< E > >( attached ) ) {
         attached->notificationMaskIs( mask );
         return attached;
      }
      zetNboAttrLogSaDel( out );
   }
   Zet::Ptr< Adapter > const adapter = Zet::validPtr( AttrLog::newAdapter< E >(
       mask, Zet::Ptr< E >( static_cast< E* >( this ) ), flags, out, owner ) );
   if ( ( flags & Adapter::AttachFlag::asChild ) == 0 && adapter->demuxer() )
      adapter->demuxer()->rootAdapterIs( adapter );
   return adapter;
}

template < class E >
void
LoggedEntity< E >::zetNboAttrLogSaDel( Zet::Ptr< Out > const& out ) {
   if ( Zet::Ptr< Adapter > const attached = zetNboAttrLogSa( out ) )
      attached->end();
}

} // namespace Notify
