#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Expect.h"
#include "platform/zet/SnapshotIterator.h"
#include "platform/zet/StreamAdapter.h"

#include <type_traits>

namespace Notify {

namespace Detail {

template < class Handler > struct HandledKey;
template < class N > struct HandledKey< void ( N::* )() > { using Keys = void(); };
template < class N, class Key > struct HandledKey< void ( N::* )( Key ) > {
   using Keys = void( Key );
};

// Tells one notifiee. One that stands for a stream takes all attributes alike: its reactor is told
// the id and the key, unless it has gone.
template < auto Handler, class N, class... Key >
void
deliver( N& notifiee, Zet::AttributeId id, Key const&... key ) {
   if ( !notifiee.zetHearsAlike() ) [[likely]]
      return ( notifiee.*Handler )( key... );
   static_assert(
       std::is_same_v< typename HandledKey< decltype( Handler ) >::Keys, void( Key... ) >,
       "the key is handed on untyped" );
   using Log = Zet::Entity::ZetNboAttrLogSa;
   void const* erased[] = { nullptr, &key... };
   if ( auto const* const reactor = notifiee.zetRawReactor() )
      const_cast< Log& >( static_cast< Log const& >( *reactor ) )
          .doNotification( id, const_cast< void* >( erased[ sizeof...( key ) ] ) );
}

} // namespace Detail

// Calls `Handler` on every notifiee that the list has now, in list order. A notifiee that its
// owner drops meanwhile is not called any more; one that only leaves the list still is. A handler
// that throws is reported to its notifiee and delivery goes on; what onNotificationException
// throws leaves this function.
//
// The notifiees in the snapshot hold the changed entity; nothing of it is used after a call.
template < auto Handler, class List, class... Key >
void
dispatch( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   if ( notifiees.count() == 0 )
      return;
   for ( Zet::SnapshotIterator snapshot( notifiees ); snapshot; ) {
      try {
         Zet::Expect const expect( 0 );
         for ( ; snapshot; snapshot.advance() )
            Detail::deliver< Handler >( *snapshot, id, key... );
      } catch ( ... ) {
         snapshot->onNotificationException( id );
         snapshot.advance();
      }
   }
}

} // namespace Notify
