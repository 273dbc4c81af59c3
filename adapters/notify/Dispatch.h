#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Expect.h"
#include "platform/zet/SnapshotIterator.h"

namespace Notify {

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
   for ( Zet::SnapshotIterator snapshot( notifiees ); snapshot; snapshot.advance() ) {
      try {
         Zet::Expect const expect( 0 );
         ( ( *snapshot ).*Handler )( key... );
      } catch ( ... ) {
         snapshot->onNotificationException( id );
      }
   }
}

} // namespace Notify
