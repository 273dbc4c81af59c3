#include "platform/zet/attrlog/Demuxer.h"
#include "platform/zet/attrlog/Dir.h"
#include "platform/zet/attrlog/MsgChannel.h"
#include "platform/zet/attrlog/StreamAdapter.h"

namespace Zet {

using NboAttrLog::Demuxer;
using NboAttrLog::In;

void
Entity::ZetNboAttrLogSa::handleAttrDeserialization( AttributeId id, DeserializationOptions options,
                                                    unsigned int n, Ptr< In > const& in ) {
   if ( In* const input = inputFor( in ) )
      doBaseZetNboAttrLogSaMsg( id, options, n, *input );
}

void
Entity::ZetNboAttrLogSa::doBaseZetNboAttrLogSaMsg( AttributeId id, DeserializationOptions,
                                                   unsigned int, In& in ) {
   if ( id != replayRequestAttributeId ) {
      Ptr< Entity const > const entity = zetNotifierEntity();
      in.malformedAt( In::attributeAt, "header field 3, the attribute",
                      String8( std::to_string( id ) ) + " is none of " + entity->fullName() );
   }
   for ( AttributeId const wanted : nextReplayRequest( in ) )
      handleReplayRequest( wanted );
}

std::vector< AttributeId >
Entity::ZetNboAttrLogSa::nextReplayRequest( In& in ) {
   in.fieldIs( "the size of a replay request" );
   std::size_t const size = in.nextU16();
   if ( size % sizeof( AttributeId ) != 0 || size + sizeof( std::uint16_t ) != in.left() )
      in.malformed( std::to_string( size ) + " bytes of attribute ids do not fill the record" );
   in.fieldIs( "the value of a replay request" );
   in.nextU16();
   in.fieldIs( "an attribute of a replay request" );
   std::vector< AttributeId > attributes;
   while ( in.left() != 0 )
      attributes.push_back( in.nextS32() );
   return attributes;
}

void
Entity::ZetNboAttrLogSa::handleReplayRequest( AttributeId ) {}

void
Entity::ZetNboAttrLogSa::handleSyncMode( SyncMode mode ) {
   Ptr< Entity > const entity = zetNotifierEntity();
   for ( Demuxer const* const connection : NboAttrLog::allDemuxers() ) {
      Ptr< ZetNboAttrLogSa > const other = connection->adapter( entityId_ );
      if ( !other || other->zetNotifierEntity() != entity || !entityId_.isShared() )
         continue;
      BitScope const deaf( *other, deafBit );
      other->syncModeIs( mode );
   }
   if ( msgChannelEntry_ )
      msgChannelEntry_->modeIs( MsgChannelEntry::inStep );
   if ( mode != SyncMode::inStep )
      return;
   if ( auto const directory = ptrCast< Dir >( entity->parent() ) )
      if ( Dir::Entry* const entry = directory->entry( entity->zetName() );
           entry && entry->entity() == entity )
         entry->stateIs( Dir::Entry::inStep );
}

} // namespace Zet
