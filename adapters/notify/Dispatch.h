#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Expect.h"
#include "platform/zet/SnapshotIterator.h"
#include "platform/zet/UntypedNotifiee.h"

#include <type_traits>

namespace Notify {

namespace Detail {

template < class Handler > struct HandledKey;
template < class N > struct HandledKey< void ( N::* )() > { using Keys = void(); };
template < class N, class Key > struct HandledKey< void ( N::* )( Key ) > {
   using Keys = void( Key );
};

// Tells one notifiee: calls the handler, or hands an untyped one the id and the key.
template < auto Handler, class N, class... Key >
void
deliver( N& notifiee, Zet::AttributeId id, Key const&... key ) {
   if ( !notifiee.isUntyped() ) [[likely]]
      return ( notifiee.*Handler )( key... );
   static_assert(
       std::is_same_v< typename HandledKey< decltype( Handler ) >::Keys, void( Key... ) >,
       "the key is handed on untyped" );
   // No array: one would have the compiler guard the stack of every setter.
   void const* erased = nullptr;
   ( ( erased = &key ), ... );
   static_cast< Zet::UntypedNotifiee< typename N::Notifier >& >( notifiee ).onChange( id, erased );
}

// Does dispatch() for a list of one notifiee, as most are. Needs no snapshot.
template < auto Handler, class N, class... Key >
[[gnu::always_inline]] inline void
dispatchToOne( N& notifiee, Zet::AttributeId id, Key const&... key ) {
   Zet::Ptr< N > const held( &notifiee );
   try {
      Zet::ExpectAny const expect;
      deliver< Handler >( notifiee, id, key... );
   } catch ( ... ) {
      notifiee.onNotificationException( id );
   }
}

// Does dispatch() for several notifiees. Apart, since it needs more registers saved.
template < auto Handler, class List, class... Key >
[[gnu::noinline]] void
dispatchToAll( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   for ( Zet::SnapshotIterator snapshot( notifiees ); snapshot; ) {
      try {
         Zet::ExpectAny const expect;
         for ( ; snapshot; snapshot.advance() )
            deliver< Handler >( *snapshot, id, key... );
      } catch ( ... ) {
         snapshot->onNotificationException( id );
         snapshot.advance();
      }
   }
}

} // namespace Detail

// Calls `Handler` on every notifiee that the list has now, in list order. A notifiee that its owner
// drops meanwhile is not called. A notifiee that only leaves the list is still called. A handler
// that throws is reported to its notifiee, and delivery goes on. An exception from
// onNotificationException leaves this function.
//
// A handler may end the changed entity, since not every notifiee holds it
// (zetHasUncountedNotifier). So nothing of the entity is used after the first call, not even its
// list. The notifiees are held here. The key is the caller's.
template < auto Handler, class List, class... Key >
void
dispatch( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   if ( notifiees.count() == 1 )
      Detail::dispatchToOne< Handler >( *notifiees.head(), id, key... );
   else if ( notifiees.count() != 0 )
      Detail::dispatchToAll< Handler >( notifiees, id, key... );
}

} // namespace Notify
