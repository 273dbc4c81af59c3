#pragma once

#include "adapters/attrlog/EntityAdapter.h"

// The reading half of EntityAdapter. A payload is read to its end and checked before any part of it
// is applied.
namespace AttrLog {

namespace Detail {

// Apart, since the text would have the compiler guard the stack of every record's reader.
[[noreturn, gnu::noinline]] inline void
throwActive() {
   Zet::throwInternalException( "entity reactor is already active" );
}

// Ends the replay of a collection, even when an observer of the removals throws.
class ReplayEnd {
   using Demuxer = Zet::NboAttrLog::Demuxer;
   using Adapter = Zet::Entity::ZetNboAttrLogSa;

 public:
   ReplayEnd( Demuxer& connection, Adapter const& adapter, Zet::AttributeId id )
       : connection_( connection ), adapter_( adapter ), id_( id ) {}
   ReplayEnd( ReplayEnd const& ) = delete;
   ReplayEnd& operator=( ReplayEnd const& ) = delete;
   ~ReplayEnd() {
      Zet::NboAttrLog::FlowIn* const flow = connection_.flowIn( adapter_.entityId() );
      if ( !flow )
         return;
      flow->handlingTransactionIs( false );
      flow->aidDel( id_ );
      if ( flow->aid() == 0 )
         connection_.flowInDel( adapter_.entityId() );
   }

 private:
   Demuxer& connection_;
   Adapter const& adapter_;
   Zet::AttributeId id_;
};

} // namespace Detail

template < class T >
void
EntityAdapter< T >::handleAttrDeserialization( Zet::AttributeId id, DeserializationOptions options,
                                               unsigned int n,
                                               Zet::Ptr< Zet::NboAttrLog::In > const& in ) {
   Zet::NboAttrLog::In* const input = inputFor( in );
   if ( !input || !demuxer() )
      return;
   if ( in ) [[unlikely]]
      return answer( id, options, n, *input );
   if ( bit( applyingBit ) ) [[unlikely]]
      Detail::throwActive();
   Zet::BitScope const applying( *this, applyingBit );
   requireWritable( id );
   read( id, options, n, { *input, true, options.createsEntity } );
}

template < class T >
[[gnu::noinline]] void
EntityAdapter< T >::answer( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                            Zet::NboAttrLog::In& in ) {
   read( id, options, n, { in, false, options.createsEntity } );
}

template < class T >
[[gnu::always_inline]] inline void
EntityAdapter< T >::read( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                          Record record ) {
   if ( options.createsEntity )
      requireCreating( id, record.in );
   readFrom< 0 >( id, options, n, record );
}

// Reads a record of the attribute of that id, which is not before place I.
template < class T >
template < std::size_t I >
[[gnu::always_inline]] inline void
EntityAdapter< T >::readFrom( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                              Record record ) {
   if constexpr ( I == serializedCount< T > )
      readOther( id, options, n, record );
   else if constexpr ( CollectionRow< Row< I > > ) {
      if ( id != row< I >().id && id != -row< I >().id )
         return readFrom< I + 1 >( id, options, n, record );
      record.in.fieldIs( row< I >().name );
      readKeyed< I >( id < 0, record );
   } else {
      if ( id != row< I >().id )
         return readFrom< I + 1 >( id, options, n, record );
      readValue< I >( record );
   }
}

// Reads a record of the framework's. Apart from read(), as is all that keeps texts on the stack:
// a record of a number is read without.
template < class T >
[[gnu::noinline]] void
EntityAdapter< T >::readOther( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                               Record record ) {
   if ( id == Zet::syncModeAttributeId ) {
      record.in.fieldIs( "the sync mode" );
      unsigned int const mode = record.in.nextU32();
      if ( mode > static_cast< unsigned int >( SyncMode::lost ) )
         record.in.malformed( std::to_string( mode ) + " is none" );
      record.in.payloadEnd();
      return handleSyncMode( Zet::SyncModeInstance( mode ) );
   }
   if ( id == Zet::replayRequestAttributeId )
      scanReplayRequest( record.in );
   doBaseZetNboAttrLogSaMsg( id, options, n, record.in );
}

template < class T >
[[gnu::noinline]] void
EntityAdapter< T >::requireCreating( Zet::AttributeId id, Zet::NboAttrLog::In const& in ) const {
   bool creates = false;
   forEachSerialized< T >( [ & ]( auto i ) {
      creates = creates || ( EntitiesRow< Row< i > > && id == row< i >().id );
   } );
   if ( !creates )
      in.malformedAt( Zet::NboAttrLog::In::creationAt, "header field 6, the creation",
                      "attribute " + std::to_string( id ) + " creates no entity" );
}

// Reads the value and applies it last: applying may drop the adapter and all that it holds.
template < class T >
template < std::size_t I >
void
EntityAdapter< T >::readValue( Record record ) {
   Value< I > const value = nextValue< I >( record.in );
   countIfUnknown( value, *record.in.demuxer() );
   if ( !record.isLocal )
      handle< I >();
   else if ( row< I >().id != Zet::isNondestructingAttributeId ||
             demuxer()->peerSetsNondestructing() ) {
      if constexpr ( Notify::takesValues< Row< I >::set > )
         ( notifier()->*Row< I >::set )( value );
      else
         setFromMemory< I >( value );
   }
}

template < class T >
template < std::size_t I >
[[gnu::noinline]] void
EntityAdapter< T >::setFromMemory( Value< I > const value ) {
   ( notifier()->*Row< I >::set )( value );
}

// Reads the value, which is the whole payload. A number of the right size needs no other check.
template < class T >
template < std::size_t I >
typename EntityAdapter< T >::template Value< I >
EntityAdapter< T >::nextValue( Zet::NboAttrLog::In& in ) {
   using Coded = Codec< Value< I > >;
   if constexpr ( requires { typename Coded::Number; } )
      if ( typename Coded::Number number; in.nextWhole( number ) )
         return Coded::of( number );
   in.fieldIs( row< I >().name );
   Value< I > value = Coded::read( in );
   in.payloadEnd();
   return value;
}

template < class T >
template < std::size_t I >
[[gnu::noinline]] void
EntityAdapter< T >::readKeyed( bool deleted, Record record ) {
   // An observer of the change may drop all of these.
   Zet::Ptr< Zet::NboAttrLog::In > const input( &record.in );
   Zet::Ptr< T > const entity( notifier() );
   Zet::Ptr< Zet::NboAttrLog::Demuxer > const connection( demuxer() );
   if ( deleted )
      readMemberDeletion< I >( record );
   else if constexpr ( EntitiesRow< Row< I > > )
      readChild< I >( record );
   else
      readMember< I >( record );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::readMember( Record record ) {
   using V = ValueOfMember< Member< I > >;
   Key< I > const key = Codec< Key< I > >::read( record.in );
   V const value = Codec< V >::read( record.in );
   record.in.payloadEnd();
   countIfUnknown( value, *record.in.demuxer() );
   if ( !record.isLocal )
      return handle< I >( key );
   ( notifier()->*Row< I >::set )( key, value );
   if ( Member< I >* const member = members< I >().find( key ) )
      member->zetMarkedForDeletionIs( false );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::readMemberDeletion( Record record ) {
   Key< I > const key = Codec< Key< I > >::read( record.in );
   record.in.payloadEnd();
   if ( !record.isLocal )
      return handle< I >( key );
   deleteMember< I >( key );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::deleteMember( Key< I > const& key ) {
   ( notifier()->*Row< I >::del )( key );
   if constexpr ( EntitiesRow< Row< I > > )
      if ( !members< I >().find( key ) )
         childDel( { row< I >().id, key } );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::readChild( Record record ) {
   Zet::NboAttrLog::In& in = record.in;
   Zet::Name const name = in.nextString();
   if ( in.left() == 0 )
      return readChildWithoutId< I >( record, name );
   Zet::EntityId const id = nextChildId< I >( record, name );
   if ( record.isLocal )
      return createChild< I >( in, name, id );
   if ( !demuxer()->adapter( id ) )
      demuxer()->retire( id );
   handle< I >( name );
}

// Handles a name without id: a request for the member that is known here under that name.
template < class T >
template < std::size_t I >
void
EntityAdapter< T >::readChildWithoutId( Record record, Zet::Name const& name ) {
   record.in.payloadEnd();
   // The record names no id, so nothing is dropped.
   if ( record.isLocal )
      demuxer()->checkEphemeralEntityDeletion( members< I >().find( name ), {}, true );
   handle< I >( name );
}

// Reads the child's id. The id is free or belongs to the member of that name.
template < class T >
template < std::size_t I >
Zet::EntityId
EntityAdapter< T >::nextChildId( Record record, Zet::Name const& name ) {
   Zet::NboAttrLog::In& in = record.in;
   if ( !record.createsEntity )
      in.malformedAt( Zet::NboAttrLog::In::creationAt, "header field 6, the creation",
                      "a member is created with 151" );
   in.fieldIs( "the entity id of a member" );
   Zet::EntityId const id = in.nextEntityId();
   if ( id == Zet::connectionEntityId || ( !id && !in.isLocal() ) )
      in.malformed( "it is reserved" );
   Base const* const known = demuxer()->adapter( id );
   if ( known && known != childAdapter( { row< I >().id, name } ) )
      in.malformed( "it is that of " + known->zetNotifierEntity()->fullName() );
   in.payloadEnd();
   return id;
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::createChild( Zet::NboAttrLog::In& in, Zet::Name const& name,
                                 Zet::EntityId id ) {
   Zet::Ptr< Zet::NboAttrLog::Out > const out = nboAttrLogOut();
   Zet::MsgChannel::DeserializingEidAnchor const announced( id, *notifier(), name );
   demuxer()->expectedIdIs( id );
   Zet::Ptr< Member< I > > const member = childNamed< I >( name, id );
   member->zetMarkedForDeletionIs( false );
   if ( !demuxer() )
      return;
   if ( members< I >().find( name ) != member.get() )
      // An observer has removed the member again.
      return demuxer()->retire( id );
   Zet::Ptr< Base > adapter = nboAttrLogAdapter< I >( *member );
   if ( !adapter ) {
      adapter = newAdapter< Member< I > >( notificationBits(), member, AttachFlag::asChild, out,
                                           owner() );
      childIs( { row< I >().id, name }, adapter );
   }
   adapter->bitIs( applyingBit, false );
   doFixChildFlags( *adapter );
   if ( !id ) {
      // The writer leaves it to this side to give out the id.
      adapter->doEntityIdIs( adapter->entityId() ? adapter->entityId() : demuxer()->idFor( {} ),
                             *demuxer(), true );
      in.assignedEntityIdIs( adapter->entityId() );
   } else
      adapter->doEntityIdIs( id, *demuxer(), true );
}

// Returns the member of that name. Makes it if there is none. Replaces a member that is another
// entity to the writer.
template < class T >
template < std::size_t I >
Zet::Ptr< MemberOf< T, I > >
EntityAdapter< T >::childNamed( Zet::Name const& name, Zet::EntityId id ) {
   Zet::Ptr< T > const entity( notifier() );
   try {
      Zet::Expect const expect( Zet::NameInUseException::id );
      if ( Base const* const known = childAdapter( { row< I >().id, name } );
           known && id && known->entityId() != id )
         Zet::throwNameInUseException( known->zetNotifierEntity()->fullName() );
      return ( entity.get()->*Row< I >::is )( name );
   } catch ( Zet::NameInUseException const& ) {
      deleteMember< I >( name );
      bitIs( applyingBit, true );
      return ( entity.get()->*Row< I >::is )( name );
   }
}

template < class T >
void
EntityAdapter< T >::scanReplayRequest( Zet::NboAttrLog::In& in ) {
   std::size_t const start = in.position();
   for ( Zet::AttributeId const id : nextReplayRequest( in ) )
      forEachSerialized< T >( [ & ]( auto i ) {
         // A peer may have missed a child's creation. So the children are named again, with all
         // their attributes, before any other attribute of the list.
         if constexpr ( EntitiesRow< Row< i > > )
            if ( ( id == row< i >().id || id == -row< i >().id ) && flowNeeded() )
               flow()->template restart< i >();
      } );
   in.positionIs( start );
}

template < class T >
void
EntityAdapter< T >::handleReplayRequest( Zet::AttributeId id ) {
   forEachSerialized< T >( [ & ]( auto i ) {
      if constexpr ( !EntitiesRow< Row< i > > )
         if ( ( id == row< i >().id || id == -row< i >().id ) && flowNeeded() )
            flow()->template restart< i >();
   } );
}

template < class T >
void
EntityAdapter< T >::handleAttrTransaction( Zet::AttributeId id, AttrTransactionType type,
                                           unsigned int n ) {
   Zet::Ptr< Base > const self( this );
   Zet::Ptr< T > const entity( notifier() );
   Zet::Ptr< Zet::NboAttrLog::Demuxer > const connection( demuxer() );
   if ( !connection )
      return;
   if ( !visitCollection( id, []( auto ) {} ) )
      return Base::handleAttrTransaction( id, type, n );
   if ( isAuthority() )
      return answerTransaction( id, type );
   if ( type != AttrTransactionType::abort )
      requireWritable( id );
   if ( type == AttrTransactionType::open ) {
      if ( !bit( deafBit ) )
         connection->flowInIs( entityId() ).aidIs( id );
      visitCollection( id, [ & ]( auto i ) { mark< i >( true ); } );
      return;
   }
   Detail::ReplayEnd const end( *connection, *this, id );
   if ( type == AttrTransactionType::abort ) {
      visitCollection( id, [ & ]( auto i ) { mark< i >( false ); } );
      return;
   }
   if ( Zet::NboAttrLog::FlowIn* const flow = connection->flowIn( entityId() );
        flow && flow->aid() == id )
      flow->handlingTransactionIs( true );
   visitCollection( id, [ & ]( auto i ) { sweep< i >(); } );
}

// Calls visit( place ) for the collection of that id. Returns false when there is none.
template < class T >
template < class Visit >
bool
EntityAdapter< T >::visitCollection( Zet::AttributeId id, Visit visit ) {
   bool found = false;
   forEachSerialized< T >( [ & ]( auto i ) {
      if constexpr ( CollectionRow< Row< i > > )
         if ( row< i >().id == id ) {
            found = true;
            visit( i );
         }
   } );
   return found;
}

// Answers the end of a replay. A peer replays a collection when it could not write each change. The
// replay does not name the members that the peer has removed. So the authority, which applies
// nothing, tells the peer of all members.
template < class T >
void
EntityAdapter< T >::answerTransaction( Zet::AttributeId id, AttrTransactionType type ) {
   if ( type == AttrTransactionType::close && flowNeeded() )
      visitCollection( id, [ & ]( auto i ) { flow()->template memberDeferred< i >(); } );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::mark( bool marked ) {
   members< I >().forEach(
       [ marked ]( auto& member ) { member.zetMarkedForDeletionIs( marked ); } );
}

// Removes the members that the replay left out. The removals are not written back.
template < class T >
template < std::size_t I >
void
EntityAdapter< T >::sweep() {
   for ( auto at = members< I >().begin(); at; ) {
      Zet::Ptr< Member< I > > const member = at.member();
      ++at;
      if ( !member->zetMarkedForDeletion() )
         continue;
      Zet::BitScope const applying( *this, applyingBit );
      deleteMember< I >( member->zetKey() );
   }
}

} // namespace AttrLog
