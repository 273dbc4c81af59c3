#include "platform/zet/attrlog/Demuxer.h"

#include "platform/zet/Assert.h"
#include "platform/zet/ZetType.h"
#include "platform/zet/attrlog/Errors.h"

namespace Zet::NboAttrLog {

namespace {

using Adapter = Entity::ZetNboAttrLogSa;

constexpr std::size_t retiredLimit = 4096;

// Has an adapter apply the record.
constinit Ptr< In > const noInput;

// The serials of relayed ids are below this. A peer of another connection chose them and must not
// use up ours.
constexpr std::uint32_t relayedSerialLimit = 1u << 30;

std::vector< Demuxer* >&
demuxers() {
   static std::vector< Demuxer* >& demuxers = *new std::vector< Demuxer* >;
   return demuxers;
}

} // namespace

std::span< Demuxer* const >
allDemuxers() noexcept {
   return demuxers();
}

Demuxer*
demuxFor( Out const& out ) noexcept {
   return out.localIn() ? out.localIn()->demuxer() : nullptr;
}

Demuxer::Demuxer( Side side, std::size_t outputCapacity )
    : side_( side ), out_( make< Out >( outputCapacity ) ), in_( make< In >( this ) ) {
   out_->inIs( in_.get() );
   out_->demuxerIs( this );
   demuxers().push_back( this );
}

Demuxer::~Demuxer() {
   while ( !flowIns_.empty() ) {
      EntityId const id = flowIns_.begin()->first;
      if ( Ptr< Adapter > const open = adapter( id ) )
         abortReplays( *open );
      flowInDel( id );
   }
   for ( Ptr< FlowOut > const& flow : queue_ )
      flow->scheduledIs( false );
   out_->inIs( nullptr );
   out_->demuxerIs( nullptr );
   in_->demuxerIs( nullptr );
   std::erase( demuxers(), this );
}

Adapter*
Demuxer::adapter( EntityId id ) const noexcept {
   return byId_.find( id );
}

Adapter*
Demuxer::adapter( Entity const& entity ) const noexcept {
   auto const found = byEntity_.find( &entity );
   return found == byEntity_.end() ? nullptr : found->second;
}

void
Demuxer::adapterIs( Adapter& adapter, EntityId id ) {
   if ( adapter.entityId() != id )
      abortReplays( adapter );
   if ( adapter.entityId() )
      byId_.erase( adapter.entityId() );
   adapter.entityIdIs( id );
   if ( id ) {
      bool const isFree = byId_.insert( id, adapter );
      require( isFree, "two entities of a connection have two ids" );
   }
   byEntity_[ adapter.zetNotifierEntity().get() ] = &adapter;
}

void
Demuxer::adapterDel( Adapter& adapter ) noexcept {
   if ( this->adapter( adapter.entityId() ) == &adapter ) {
      byId_.erase( adapter.entityId() );
      flowInDel( adapter.entityId() );
   }
   auto const found = byEntity_.find( dynamic_cast< Entity const* >( adapter.notifier() ) );
   if ( found != byEntity_.end() && found->second == &adapter )
      byEntity_.erase( found );
}

void
Demuxer::retire( EntityId id ) {
   if ( !id )
      return;
   if ( retired_.size() == retiredLimit ) {
      std::swap( retired_, retiredBefore_ );
      retired_.clear();
   }
   retired_.insert( id );
}

bool
Demuxer::isRetired( EntityId id ) const noexcept {
   return retired_.contains( id ) || retiredBefore_.contains( id );
}

EntityId
Demuxer::idFor( EntityId relayed ) noexcept {
   auto const side = static_cast< std::uint32_t >( side_ );
   // An id that is free here may still be in use at the peer, which may not know of the removal
   // yet. So no id is given out twice.
   std::uint32_t const serial = relayed.first >> 1;
   if ( relayed.isShared() && relayed.second == side && serial > lastSerial_ &&
        serial < relayedSerialLimit && !adapter( relayed ) && relayed != expectedId_ ) {
      lastSerial_ = serial;
      return relayed;
   }
   // The connection itself has id 1.
   EntityId id;
   do
      id = { ++lastSerial_ << 1 | 1, side };
   while ( id == connectionEntityId || id == expectedId_ || adapter( id ) );
   return id;
}

void
Demuxer::rootAdapterIs( Ptr< Adapter > adapter ) {
   rootAdapters_.push_back( std::move( adapter ) );
}

bool
Demuxer::rootAdapterDel( Adapter const& adapter ) noexcept {
   return std::erase_if( rootAdapters_, [ & ]( auto const& one ) { return one == &adapter; } ) != 0;
}

FlowIn*
Demuxer::flowIn( EntityId id ) noexcept {
   if ( flowIns_.empty() )
      return nullptr;
   auto const found = flowIns_.find( id );
   return found == flowIns_.end() ? nullptr : &found->second;
}

void
Demuxer::abortReplays( Adapter& adapter ) {
   auto const open = flowIns_.extract( adapter.entityId() );
   if ( open.empty() )
      return;
   for ( FlowIn& flow = open.mapped(); flow.aid() != 0; flow.aidDel( flow.aid() ) )
      adapter.handleAttrTransaction( flow.aid(), StreamAdapter::AttrTransactionType::abort, 0 );
}

void
Demuxer::createFlowOut( Adapter& adapter, ConnectDesc const& description, bool remote,
                        AttributeId last ) {
   if ( !adapter.flowOut() )
      adapter.flowOutIs( out_, description, remote, last );
   if ( adapter.flowOut() )
      schedule( *adapter.flowOut() );
}

void
Demuxer::schedule( FlowOut& flow ) {
   if ( flow.isScheduled() )
      return;
   flow.scheduledIs( true );
   queue_.emplace_back( &flow );
}

void
Demuxer::flow( FlowOut& flow ) {
   Ptr< FlowOut > const self( &flow );
   Ptr< Adapter > const adapter( flow.adapter() );
   if ( !adapter || adapter->isFlowing() )
      return;
   // The second round is for attributes that became dirty during the first.
   for ( int round = 0; round < 2 && flow.hasDirtyAttributes(); ++round ) {
      if ( !out_->hasSufficientBuffer() )
         break;
      AttributeId const resume = flow.resumeId();
      flow.resumeIdIs(
          adapter->handleAttrFlowOut( resume == 0 ? zeroReferencesAttributeId : resume ) );
      if ( flow.resumeId() != 0 )
         break;
   }
   if ( flow.hasDirtyAttributes() )
      schedule( flow );
}

void
Demuxer::handleRoom() {
   Ptr< Demuxer > const self( this );
   std::uint64_t before;
   do {
      before = out_->records();
      for ( std::size_t turns = queue_.size(); turns != 0 && !queue_.empty(); --turns ) {
         if ( !out_->hasSufficientBuffer() )
            return;
         Ptr< FlowOut > const next = std::move( queue_.front() );
         queue_.pop_front();
         next->scheduledIs( false );
         flow( *next );
      }
   } while ( !queue_.empty() && out_->records() != before );
}

void
Demuxer::handleRecord( MsgHeader const& header, In& in ) {
   // Held, because the record may end the adapter.
   Ptr< Adapter > const target = byId_.find( header.entity );
   if ( !target ) [[unlikely]]
      return handleStranger( header, in );
   if ( header.kind == attributeKind )
      // in_ is the same input: a pointer made here would be counted for each record.
      target->handleAttrDeserialization( header.attribute, { header.creation == createsEntity },
                                         header.count, target->isAuthority() ? in_ : noInput );
   else
      target->handleAttrTransaction(
          header.attribute, static_cast< StreamAdapter::AttrTransactionType >( header.transaction ),
          header.count );
}

// Handles a record whose entity has no adapter here.
void
Demuxer::handleStranger( MsgHeader const& header, In& in ) {
   if ( header.entity == connectionEntityId ) {
      if ( header.attribute != orphanAttributeId || header.kind != attributeKind )
         in.malformedAt( In::attributeAt, "header field 3, the attribute",
                         "only a root is announced under this entity id" );
      if ( header.creation != 0 )
         in.malformedAt( In::creationAt, "header field 6, the creation",
                         "a root is announced with 0" );
      return handleOrphan( in );
   }
   if ( isRetired( header.entity ) )
      return retireChild( header, in );
   in.malformedAt( In::entityAt, "header fields 1 and 2, the entity",
                   "(" + std::to_string( header.entity.first ) + ", " +
                       std::to_string( header.entity.second ) + ") is none of this connection" );
}

// Retires the child that the record creates under a retired entity.
void
Demuxer::retireChild( MsgHeader const& header, In& in ) {
   if ( header.creation != createsEntity )
      return;
   in.fieldIs( "the name of a member" );
   in.nextText();
   if ( in.left() == 0 )
      return;
   in.fieldIs( "the entity id of a member" );
   retire( in.nextEntityId() );
}

void
Demuxer::handleOrphan( In& in ) {
   in.payloadSectionIs( 1 );
   std::size_t const typeAt = in.position();
   in.fieldIs( "the type of a root" );
   TypeId const type( in.nextText() );
   in.payloadSectionIs( 3 );
   in.fieldIs( "the name of a root" );
   Name const name = in.nextString();
   in.payloadSectionIs( 4 );
   in.fieldIs( "the entity id of a root" );
   EntityId const id = in.nextEntityId();
   if ( !id || id == connectionEntityId )
      in.malformed( "it is reserved" );
   in.payloadEnd();
   expectedIdIs( id );
   Ptr< Entity > const root = roots_ ? roots_->root( type, name ) : nullptr;
   if ( !root || root->fwkType()->fullName() != type.fullName() )
      in.malformedAt( typeAt, "the type of a root",
                      "no " + String8( type.fullName() ) + " of the name " + name +
                          " is wanted here" );
   if ( Adapter const* const known = adapter( id ); known && known != adapter( *root ) )
      in.malformed( "it is that of " + known->zetNotifierEntity()->fullName() );
   Ptr< Adapter > attached = adapter( *root );
   if ( !attached )
      attached = root->zetNboAttrLogSaIs( {}, 0, out_, nullptr );
   if ( !attached )
      in.malformedAt( typeAt, "the type of a root",
                      String8( type.fullName() ) + " is not replicated" );
   attached->doEntityIdIs( id, *this, true );
}

void
Demuxer::checkEphemeralEntityDeletion( Ptr< Entity > const& member, EntityId id, bool drop ) {
   Ptr< Adapter > const other = id ? adapter( id ) : nullptr;
   if ( !drop || !other || other->zetNotifierEntity() == member )
      return;
   if ( !other->zetNotifierEntity()->parent() )
      other->end();
}

} // namespace Zet::NboAttrLog
