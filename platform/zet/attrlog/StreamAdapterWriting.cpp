#include "platform/zet/ZetType.h"
#include "platform/zet/attrlog/Demuxer.h"
#include "platform/zet/attrlog/Errors.h"
#include "platform/zet/attrlog/StreamAdapter.h"

#include <limits>

namespace Zet {

using NboAttrLog::FlowOut;
using NboAttrLog::MsgHeader;
using NboAttrLog::Out;
using Token = Out::TransactToken;

void
Entity::ZetNboAttrLogSa::doThis() {
   thisIsDue_ = bit( awaitsIdBit );
   if ( thisIsDue_ || !demuxer() )
      return;
   FlowOut* const flow = flowNeeded();
   flow->restart();
   state_ = State::live;
   // The peer must know a root before it hears of the root's children.
   if ( !flow->isOrphanDue() )
      zetInstantiateSerialize();
   if ( NboAttrLog::Demuxer* const connection = demuxer(); connection && flowOut_ == flow )
      connection->flow( *flow );
}

AttributeId
Entity::ZetNboAttrLogSa::handleAttrFlowOut( AttributeId startId ) {
   if ( !flowOut_ || !flowOut_->isOrphanDue() )
      return 0;
   Ptr< Entity > const entity = zetNotifierEntity();
   Out& out = *out_;
   out.nextHeaderIs( { connectionEntityId, orphanAttributeId } );
   out << Token::begin;
   out.currentPayloadSectionIs( 1 );
   out << TypeId( entity->fwkType()->fullName().view() );
   out.currentPayloadSectionIs( 3 );
   out << entity->zetName();
   out.currentPayloadSectionIs( 4 );
   out << entityId_ << Token::end;
   if ( out.hasWritten() ) {
      flowOut_->orphanDueIs( false );
      return 0;
   }
   flowOut_->blockedIs( true );
   return startId;
}

void
Entity::ZetNboAttrLogSa::doSerializeOrphan() {
   if ( !demuxer() )
      return;
   flowNeeded()->orphanDueIs( true );
   handleAttrFlowOut( zeroReferencesAttributeId );
   doThis();
}

bool
Entity::ZetNboAttrLogSa::syncModeSend( SyncMode mode ) {
   if ( !demuxer() || isUnannounced() )
      return false;
   out_->nextHeaderIs( { entityId_, syncModeAttributeId } );
   *out_ << Token::begin << static_cast< unsigned int >( mode ) << Token::end;
   return out_->hasWritten();
}

bool
Entity::ZetNboAttrLogSa::replayRequestSend( std::initializer_list< AttributeId > attributes ) {
   if ( !demuxer() || isUnannounced() )
      return false;
   out_->nextHeaderIs( { entityId_, replayRequestAttributeId } );
   *out_ << Token::begin;
   out_->numberIs( static_cast< std::uint16_t >( attributes.size() * sizeof( AttributeId ) ) );
   out_->numberIs( std::uint16_t{ 0 } );
   for ( AttributeId const id : attributes )
      *out_ << id;
   *out_ << Token::end;
   return out_->hasWritten();
}

bool
Entity::ZetNboAttrLogSa::mayWriteOwn( AttributeId id ) {
   if ( handlingFlowInFor( id ) || bit( awaitsIdBit ) || bit( silentBit ) || !bit( writesBit ) )
      return false;
   if ( !demuxer() )
      return false;
   if ( bit( readOnlyBit ) && !convertedToWritable( false ) )
      doThrowReadOnly( id );
   return true;
}

bool
Entity::ZetNboAttrLogSa::handlingFlowInFor( AttributeId id ) const {
   NboAttrLog::Demuxer* const connection = demuxer();
   NboAttrLog::FlowIn const* const flow = connection ? connection->flowIn( entityId_ ) : nullptr;
   return flow && flow->isHandlingTransaction() && flow->aid() == id;
}

void
Entity::ZetNboAttrLogSa::doThrowReadOnly( AttributeId id ) {
   Ptr< Entity const > const entity = zetNotifierEntity();
   throwReadOnlyException( entity->attributeString( id ) + " of " + entity->fullName() +
                           " can only be read here: its source is elsewhere" );
}

bool
Entity::ZetNboAttrLogSa::sendTransactionMarker( AttributeId id, AttrTransactionType type,
                                                unsigned int n ) {
   MsgHeader header{ entityId_, id, NboAttrLog::transactionKind, n };
   header.transaction = static_cast< std::uint8_t >( type );
   out_->nextHeaderIs( header );
   *out_ << Token::begin << Token::end;
   return out_->hasWritten();
}

FlowOut*
Entity::ZetNboAttrLogSa::flowNeeded() {
   demuxer()->createFlowOut( *this, {}, false, std::numeric_limits< AttributeId >::max() );
   return flowOut_.get();
}

void
Entity::ZetNboAttrLogSa::flowOutStore( Ptr< FlowOut > flow ) {
   if ( flowOut_ )
      flowOut_->adapterIs( nullptr );
   flowOut_ = std::move( flow );
}

} // namespace Zet
