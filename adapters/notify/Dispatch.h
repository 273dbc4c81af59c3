#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Expect.h"
#include "platform/zet/SnapshotIterator.h"
#include "platform/zet/attrlog/StreamAdapter.h"

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

// As dispatch(), for the one notifiee that most lists have: no snapshot is needed.
template < auto Handler, class N, class... Key >
[[gnu::always_inline]] inline void
dispatchToOne( N& notifiee, Zet::AttributeId id, Key const&... key ) {
   Zet::Ptr< N > const held( &notifiee );
   try {
      Zet::Expect const expect( 0 );
      deliver< Handler >( notifiee, id, key... );
   } catch ( ... ) {
      notifiee.onNotificationException( id );
   }
}

// As dispatch(), for several. Apart, since it needs more registers saved.
template < auto Handler, class List, class... Key >
[[gnu::noinline]] void
dispatchToAll( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   for ( Zet::SnapshotIterator snapshot( notifiees ); snapshot; ) {
      try {
         Zet::Expect const expect( 0 );
         for ( ; snapshot; snapshot.advance() )
            deliver< Handler >( *snapshot, id, key... );
      } catch ( ... ) {
         snapshot->onNotificationException( id );
         snapshot.advance();
      }
   }
}

} // namespace Detail

// Calls `Handler` on every notifiee that the list has now, in list order. A notifiee that its
// owner drops meanwhile is not called any more; one that only leaves the list still is. A handler
// that throws is reported to its notifiee and delivery goes on; what onNotificationException
// throws leaves this function.
//
// The notifiees that are called are held, and hold the changed entity; nothing of it is used after
// a call.
template < auto Handler, class List, class... Key >
void
dispatch( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   if ( notifiees.count() == 1 )
      Detail::dispatchToOne< Handler >( *notifiees.head(), id, key... );
   else if ( notifiees.count() != 0 )
      Detail::dispatchToAll< Handler >( notifiees, id, key... );
}

} // namespace Notify
