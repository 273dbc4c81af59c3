#pragma once

#include "adapters/attrlog/EntityAdapter.h"
#include "platform/zet/Expect.h"

// The scheduled half of EntityAdapter's writing: replays, and records that waited for room.
namespace AttrLog {

// Runs the operation that writes one record. Reports an exception, so that the flow goes on with
// the next record.
template < class T >
template < class Operation >
bool
EntityAdapter< T >::guarded( Zet::AttributeId id, Operation operation ) {
   try {
      Zet::ExpectAny const expect;
      operation();
      return true;
   } catch ( ... ) {
      this->onNotificationException( id );
      return false;
   }
}

template < class T >
template < std::size_t I >
bool
EntityAdapter< T >::interrupted( Key< I > const& key ) {
   flow()->template bookmarkIs< I >( key );
   return false;
}

template < class T >
template < std::size_t I >
bool
EntityAdapter< T >::serializeColl() {
   Zet::AttributeId const id = row< I >().id;
   if ( !mayWrite( id ) )
      return true;
   if ( isUnannounced() ) {
      refused< I >();
      return false;
   }
   auto at = members< I >().begin();
   std::optional< Key< I > > last;
   bool const hasOpened = flow() != nullptr;
   if ( hasOpened ) {
      flow()->blockedIs( false );
      if ( ( last = flow()->template takeBookmark< I >() ) )
         at = members< I >().from( *last );
      else if ( !sendPendingAborts() ||
                !sendTransactionMarker( id, AttrTransactionType::open, 0 ) ) {
         refused< I >();
         return false;
      }
   }
   while ( at && demuxer() ) {
      last = at.key();
      guarded( id, [ & ] { serializeSing< I >( *last, at.member().get() ); } );
      if ( flow() && flow()->isBlocked() && !hasOpened )
         return false;
      if ( flow() && flow()->isBlocked() )
         return interrupted< I >( *last );
      ++at;
      if ( at && hasOpened && !flow()->continueFlowOut() )
         return interrupted< I >( at.key() );
   }
   if ( !demuxer() || sendTransactionMarker( id, AttrTransactionType::close, 0 ) )
      return true;
   refused< I >();
   return last && hasOpened ? interrupted< I >( *last ) : false;
}

template < class T >
bool
EntityAdapter< T >::sendPendingAborts() {
   while ( !flow()->pendingAborts().empty() ) {
      if ( !sendTransactionMarker( flow()->pendingAborts().front(), AttrTransactionType::abort,
                                   0 ) )
         return false;
      flow()->pendingAbortDel();
   }
   return true;
}

template < class T >
template < std::size_t I >
constexpr Zet::AttributeId
EntityAdapter< T >::nextId() {
   if constexpr ( I + 1 < serializedCount< T > )
      return row< I + 1 >().id;
   else
      return 0;
}

template < class T >
template < std::size_t I >
bool
EntityAdapter< T >::flowStep( Zet::AttributeId& next ) {
   Zet::AttributeId const id = row< I >().id;
   bool isComplete = true;
   flow()->attrIdIs( id );
   if ( flow()->template isDirty< I >() ) {
      bool const isWritable = guarded( id, [ & ] {
         if constexpr ( CollectionRow< Row< I > > ) {
            isComplete = serializeColl< I >();
            if ( isComplete && flow() )
               flow()->template replayed< I >();
         } else
            handle< I >();
      } );
      // Without this, the record would fail again at every turn.
      if ( !isWritable && flow() )
         flow()->template dirtyIs< I >( false );
   }
   if ( !flow() )
      return true;
   if ( flow()->isBlocked() || ( !isComplete && !flow()->continueFlowOut() ) ) {
      next = id;
      return true;
   }
   if ( flow()->continueFlowOut() )
      return false;
   next = CollectionRow< Row< I > > && !flow()->hasDirtyAttributes() ? 0 : nextId< I >();
   return true;
}

template < class T >
Zet::AttributeId
EntityAdapter< T >::handleAttrFlowOut( Zet::AttributeId startId ) {
   // A reader in this process may answer the records with any change.
   Zet::Ptr< Base > const self( this );
   Zet::Ptr< Zet::NboAttrLog::FlowOut > const held = flowOut();
   if ( !held || !demuxer() )
      return 0;
   Zet::BitScope const flowing( *this, flowingBit );
   held->blockedIs( false );
   if ( !sendPendingAborts() )
      return startId;
   if ( startId < Zet::isNondestructingAttributeId || isUnannounced() ) {
      if ( Zet::AttributeId const next = Base::handleAttrFlowOut( startId ) )
         return next;
      startId = Zet::isNondestructingAttributeId;
      if ( !held->continueFlowOut() )
         return startId;
   }
   Zet::AttributeId next = 0;
   bool hasBegun = false;
   bool hasEnded = false;
   forEachSerialized< T >( [ & ]( auto i ) {
      hasBegun = hasBegun || row< i >().id == startId;
      if ( hasBegun && !hasEnded )
         hasEnded = flowStep< i >( next );
   } );
   return next;
}

template < class T >
void
EntityAdapter< T >::zetInstantiateSerialize() {
   forEachSerialized< T >( [ & ]( auto i ) {
      if constexpr ( EntitiesRow< Row< i > > ) {
         if ( flow() )
            flow()->template dirtyIs< i >( false );
         if ( !serializeColl< i >() && flow() )
            flow()->template dirtyIs< i >( true );
      }
   } );
}

} // namespace AttrLog
