#include "platform/zet/attrlog/StreamAdapter.h"

#include "platform/zet/ZetType.h"
#include "platform/zet/attrlog/Demuxer.h"
#include "platform/zet/attrlog/Dir.h"
#include "platform/zet/attrlog/Errors.h"
#include "platform/zet/attrlog/MsgChannel.h"

#include <limits>

namespace Zet {

using NboAttrLog::FlowOut;
using NboAttrLog::In;
using NboAttrLog::Out;

StreamAdapter::SyncMode
SyncModeInstance( unsigned int number ) {
   if ( number > static_cast< unsigned int >( StreamAdapter::SyncMode::lost ) )
      throwRangeException( "SyncMode" );
   return static_cast< StreamAdapter::SyncMode >( number );
}

Entity::ZetNboAttrLogSa::ZetNboAttrLogSa( Zet_BitSet mask, unsigned int flags, Ptr< Out > out,
                                          PtrInterface* owner )
    : out_( std::move( out ) ), owner_( owner ), authority_( ( flags & authority ) != 0 ) {
   Zet_BitSet bits = zet_bitSet();
   for ( unsigned int place = 0; place <= writesBit; ++place )
      if ( ( notificationBitMask() >> place & 1 ) != 0 )
         bits.bitIs( place, mask.bit( place ) );
   bits.bitIs( deferredBit, ( flags & deferred ) != 0 );
   // An input that is busy with an earlier record can't name this child at once.
   if ( ( flags & asChild ) != 0 && out_ && out_->localIn() && !out_->localIn()->isReceiving() )
      bits.bitIs( awaitsIdBit, true );
   NotifieeConst::zet_bitSetIs( bits );
}

Entity::ZetNboAttrLogSa::ZetNboAttrLogSa() = default;

Entity::ZetNboAttrLogSa::~ZetNboAttrLogSa() {
   if ( NboAttrLog::Demuxer* const connection = demuxer() )
      connection->adapterDel( *this );
   if ( flowOut_ )
      flowOut_->adapterIs( nullptr );
   children_.forEach( []( ZetNboAttrLogSa& one ) { one.parent_ = nullptr; } );
}

void
Entity::ZetNboAttrLogSa::notificationMaskIs( Zet_BitSet mask ) {
   Zet_BitSet bits = zet_bitSet();
   for ( unsigned int place = 0; place <= writesBit; ++place )
      if ( ( notificationBitMask() >> place & 1 ) != 0 )
         bits.bitIs( place, mask.bit( place ) );
   if ( bits.word() != zet_bitSet().word() )
      zet_bitSetIs( bits );
}

void
Entity::ZetNboAttrLogSa::zetOnInit() {
   NboAttrLog::Demuxer* const connection = demuxer();
   if ( !connection || entityId_ )
      return;
   EntityId const relayed = MsgChannel::DeserializingEidAnchor::announced( *zetNotifierEntity() );
   connection->adapterIs( *this, bit( awaitsIdBit ) ? EntityId{} : connection->idFor( relayed ) );
   if ( !bit( deferredBit ) && !flowOut_ )
      flowOutIs( out_, {}, false, std::numeric_limits< AttributeId >::max() );
}

void
Entity::ZetNboAttrLogSa::end() {
   Ptr< ZetNboAttrLogSa > const self( this );
   zetDoZombieReactors( true );
   doRemountSelf( nullptr );
   if ( parent_ )
      parent_->children_.remove( *this );
   parent_ = nullptr;
}

void
Entity::ZetNboAttrLogSa::freeResyncState( Ptr< FlowOut > const& ) {}

void
Entity::ZetNboAttrLogSa::zetInstantiateSerialize() {}

Ptr< Entity const >
Entity::ZetNboAttrLogSa::zetNotifierEntity() const {
   return dynamic_cast< Entity const* >( notifier() );
}

Ptr< Entity >
Entity::ZetNboAttrLogSa::zetNotifierEntity() {
   // Casting const away is right: an adapter was given a writable entity.
   return const_cast< Entity* >( dynamic_cast< Entity const* >( notifier() ) );
}

void
Entity::ZetNboAttrLogSa::handleAttrTransaction( AttributeId id, AttrTransactionType,
                                                unsigned int ) {
   if ( In const* const in = inputFor( nullptr ) )
      in->malformedAt( In::attributeAt, "header field 3, the attribute",
                       String8( std::to_string( id ) ) + " is no collection of " +
                           zetNotifierEntity()->fullName() );
}

Ptr< FlowOut >
Entity::ZetNboAttrLogSa::flowOutIs( Ptr< Out > const&, ConnectDesc const&, bool, AttributeId ) {
   flowOutStore( make< FlowOut >( *this ) );
   return flowOut_;
}

void
Entity::ZetNboAttrLogSa::doNotification( AttributeId id, void* ) {
   if ( id == zeroReferencesAttributeId )
      onZeroReferences();
}

void
Entity::ZetNboAttrLogSa::syncModeIs( SyncMode mode ) {
   syncMode_ = mode;
}

void
Entity::ZetNboAttrLogSa::zetDoZombieReactors( bool zombie ) {
   zetMarkedForDeletionIs( zombie );
}

void
Entity::ZetNboAttrLogSa::doRemountSelf( Ptr< Out > const& out ) {
   if ( out == out_ )
      return;
   Ptr< ZetNboAttrLogSa > const self( this );
   bool isRoot = false;
   if ( NboAttrLog::Demuxer* const connection = demuxer() ) {
      connection->abortReplays( *this );
      // The peer's records for this entity may still be on their way.
      connection->retire( entityId_ );
      isRoot = connection->rootAdapterDel( *this );
      connection->adapterDel( *this );
   }
   flowOutStore( nullptr );
   entityId_ = {};
   state_ = State::attached;
   out_ = out;
   zetOnInit();
   if ( isRoot && demuxer() )
      demuxer()->rootAdapterIs( self );
}

void
Entity::ZetNboAttrLogSa::doEntityIdIs( EntityId id, NboAttrLog::Demuxer& connection,
                                       bool isKnownToPeer ) {
   connection.adapterIs( *this, id );
   bitIs( awaitsIdBit, false );
   if ( isKnownToPeer )
      state_ = State::live;
   if ( thisIsDue_ )
      doThis();
}

bool
Entity::ZetNboAttrLogSa::convertedToWritable( bool force ) {
   if ( !convertible_ && !force )
      return false;
   bitIs( readOnlyBit, false );
   bitIs( readOnlyRemoteBit, false );
   return true;
}

void
Entity::ZetNboAttrLogSa::requireConvertible( AttributeId id ) {
   if ( !readOnlyRemoteOk( id ) && !convertedToWritable( false ) )
      throwInternalException( "write-update from readonly proxy: " +
                              zetNotifierEntity()->fullName() );
}

bool
Entity::ZetNboAttrLogSa::readOnlyRemoteOk( AttributeId id ) const noexcept {
   return id == syncModeAttributeId || id == replayRequestAttributeId;
}

void
Entity::ZetNboAttrLogSa::childIs( ChildKey key, Ptr< ZetNboAttrLogSa > const& child ) {
   if ( childAdapter( key ) == child.get() )
      return;
   childDel( key );
   // The child's entity may come from another parent whose adapter did not hear of that.
   if ( child->parent_ )
      child->parent_->children_.remove( *child );
   child->childKey_ = std::move( key );
   child->parent_ = this;
   children_.insert( child );
}

Ptr< Entity::ZetNboAttrLogSa >
Entity::ZetNboAttrLogSa::childDel( ChildKey const& key ) {
   Ptr< ZetNboAttrLogSa > const removed = children_.remove( key );
   if ( !removed )
      return nullptr;
   removed->parent_ = nullptr;
   removed->doRemountSelf( nullptr );
   return removed;
}

void
Entity::ZetNboAttrLogSa::doFixChildFlags( ZetNboAttrLogSa& child ) const {
   child.bitIs( deferredBit, bit( deferredBit ) );
   child.authority_ = authority_;
   child.convertible_ = convertible_;
}

} // namespace Zet
