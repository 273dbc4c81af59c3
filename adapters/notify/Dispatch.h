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

// A key on its way to the handlers. One that fits a register is passed by value: the compiler
// guards the stack of a function that keeps what others have the address of.
template < class Key >
using Passed =
    std::conditional_t< std::is_trivially_copyable_v< Key > && sizeof( Key ) <= sizeof( void* ),
                        Key, Key const& >;

// Hands an untyped notifiee the id and the key.
template < class N, class Key >
[[gnu::noinline]] void
deliverUntyped( N& notifiee, Zet::AttributeId id, Passed< Key > key ) {
   static_cast< Zet::UntypedNotifiee< typename N::Notifier >& >( notifiee ).onChange( id, &key );
}
template < class N >
void
deliverUntyped( N& notifiee, Zet::AttributeId id ) {
   static_cast< Zet::UntypedNotifiee< typename N::Notifier >& >( notifiee ).onChange( id, nullptr );
}

// Tells one notifiee: calls the handler unless the notifiee is untyped.
template < auto Handler, class N, class... Key >
void
deliver( N& notifiee, Zet::AttributeId id, Passed< Key >... key ) {
   static_assert(
       std::is_same_v< typename HandledKey< decltype( Handler ) >::Keys, void( Key... ) >,
       "the key is handed on untyped" );
   if ( !notifiee.isUntyped() ) [[likely]]
      return ( notifiee.*Handler )( key... );
   deliverUntyped< N, Key... >( notifiee, id, key... );
}

// Does dispatch() for a list of one notifiee, as most are. Needs no snapshot.
template < auto Handler, class N, class... Key >
[[gnu::always_inline]] inline void
dispatchToOne( N* notifiee, Zet::AttributeId id, Passed< Key >... key ) {
   // Spares a test for null of each use below.
   if ( !notifiee )
      __builtin_unreachable();
   Zet::Ptr< N > const held( notifiee );
   try {
      Zet::ExpectAny const expect;
      deliver< Handler, N, Key... >( *notifiee, id, key... );
   } catch ( ... ) {
      notifiee->onNotificationException( id );
   }
}

// Does dispatch() for several notifiees. Apart, since it needs more registers saved.
template < auto Handler, class List, class... Key >
[[gnu::noinline]] void
dispatchToAll( List const& notifiees, Zet::AttributeId id, Passed< Key >... key ) {
   for ( Zet::SnapshotIterator snapshot( notifiees ); snapshot; ) {
      try {
         Zet::ExpectAny const expect;
         for ( ; snapshot; snapshot.advance() )
            deliver< Handler, typename List::Member, Key... >( *snapshot, id, key... );
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
// list. The notifiees are held here. The key is the caller's, or a copy of it.
template < auto Handler, class List, class... Key >
void
dispatch( List const& notifiees, Zet::AttributeId id, Key const&... key ) {
   if ( notifiees.count() == 1 )
      Detail::dispatchToOne< Handler, typename List::Member, Key... >( notifiees.head(), id,
                                                                       key... );
   else if ( notifiees.count() != 0 )
      Detail::dispatchToAll< Handler, List, Key... >( notifiees, id, key... );
}

} // namespace Notify
