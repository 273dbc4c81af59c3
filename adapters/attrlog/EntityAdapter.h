#pragma once

#include "adapters/attrlog/Codec.h"
#include "adapters/attrlog/FlowOut.h"
#include "adapters/attrlog/Observer.h"
#include "platform/zet/attrlog/Errors.h"
#include "platform/zet/attrlog/MsgChannel.h"

namespace AttrLog {

template < class T > class PlainAdapter;

namespace Detail {

template < class T, bool HasOwn > struct AdapterOf { using Type = typename T::ZetNboAttrLogSa; };
template < class T > struct AdapterOf< T, false > { using Type = PlainAdapter< T >; };

} // namespace Detail

// The class of T's adapters: T's own nested class, or the plain one.
template < class T >
using AdapterOf = typename Detail::AdapterOf<
    T, !std::is_same_v< typename T::ZetNboAttrLogSa, Zet::Entity::ZetNboAttrLogSa > >::Type;

// An entry of a type's own `Handlers`, a tuple in any order: the operation of the type's adapters
// that hears of the attribute that `Get` reads. An attribute without an entry is still written.
template < auto Get, auto Handler > struct HandlerOf {
   static constexpr auto get = Get;
   static constexpr auto handler = Handler;
};

namespace Detail {

template < class R >
constexpr bool
isEncodableRow() {
   using Value = std::decay_t< Notify::ResultOf< R::get > >;
   if constexpr ( CollectionRow< R > )
      static_assert( Notify::holds< isEncodable< typename R::Key >,
                                    Fault::NoCodecForValue< R::get, typename R::Key > >() );
   if constexpr ( !EntitiesRow< R > )
      static_assert(
          Notify::holds< isEncodable< Value >, Fault::NoCodecForValue< R::get, Value > >() );
   return true;
}

template < class T, std::size_t... I >
constexpr bool
isEncodableType( std::index_sequence< I... > ) {
   return ( isEncodableRow< SerializedRow< T, I > >() && ... );
}

} // namespace Detail

// The attribute-log adapter of an entity T: writing, scheduled flow, replay and reading, as loops
// over T's rows. Each attribute is described once, for all types.
//
// An operation with a place I concerns the attribute of row I. Writing.h, Flowing.h and Reading.h
// define these operations.
template < class T > class EntityAdapter : public Zet::Entity::ZetNboAttrLogSa {
   using Base = Zet::Entity::ZetNboAttrLogSa;
   static_assert(
       Detail::isEncodableType< T >( std::make_index_sequence< serializedCount< T > >() ) );

 public:
   using ZetNboAttrLogSaAdapter_ = Observer< T >;
   using FlowOut = AttrLog::FlowOut< T >;

   EntityAdapter( Zet_BitSet mask, Zet::Ptr< T > const& entity, unsigned int flags,
                  Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );

   // Returns the entity. Borrows: valid until the notifier is replaced.
   T* notifier() const noexcept {
      return const_cast< T* >( static_cast< T const* >( Base::notifier() ) );
   }
   // Returns the flow. In deferred mode it is null until something has been deferred.
   FlowOut* flow() const noexcept { return static_cast< FlowOut* >( flowOut().get() ); }

   void hasNotificationActiveIs( bool active ) override;
   void notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) override;

   Zet::AttributeId handleAttrFlowOut( Zet::AttributeId startId ) override;
   void freeResyncState( Zet::Ptr< Zet::NboAttrLog::FlowOut > const& flow ) override;
   void zetInstantiateSerialize() override;
   void handleAttrDeserialization( Zet::AttributeId id, DeserializationOptions options,
                                   unsigned int n,
                                   Zet::Ptr< Zet::NboAttrLog::In > const& in ) override;
   void handleAttrTransaction( Zet::AttributeId id, AttrTransactionType type,
                               unsigned int n ) override;
   Zet::Ptr< Zet::NboAttrLog::FlowOut > flowOutIs( Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                                   Zet::ConnectDesc const& description, bool remote,
                                                   Zet::AttributeId last ) override;
   void doNotification( Zet::AttributeId id, void* key ) override;
   void zetDoZombieReactors( bool zombie ) override;
   void doRemountSelf( Zet::Ptr< Zet::NboAttrLog::Out > const& out ) override;

 protected:
   ~EntityAdapter() override;

   template < std::size_t I > using Row = SerializedRow< T, I >;
   template < std::size_t I > using Value = ValueOf< T, Row< I > >;
   template < std::size_t I > using Key = typename Row< I >::Key;
   template < std::size_t I > using Member = MemberOf< T, I >;
   template < auto Get > static constexpr std::size_t place = placeOf< T, Get >();

   template < std::size_t I > static constexpr auto const& row() {
      return std::get< I >( serializedRows< T > );
   }
   template < std::size_t I > auto const& members() const {
      return ( notifier()->*Row< I >::members )();
   }

   // React to a change of the attribute or, of a collection, of the member of that key.
   template < std::size_t I > void changed();
   template < std::size_t I > void changed( Key< I > const& key );

   // Writes one member's record now, or schedules it.
   template < std::size_t I > void serializeSing( Key< I > const& key, Member< I > const* member );
   template < std::size_t I >
   void serializeSing( Key< I > const& key, ValueOfMember< Member< I > > const& value,
                       bool deleted );
   // Writes a whole collection, from its beginning or from the place of the interruption. Returns
   // true if it is complete.
   template < std::size_t I > bool serializeColl();

   // Returns the child's adapter for this output, or null.
   template < std::size_t I >
   Zet::Ptr< AdapterOf< Member< I > > > nboAttrLogAdapter( Member< I > const& child ) const;
   // Returns the child's adapter for this output. Makes it if there is none. Writes the record that
   // creates the child.
   template < std::size_t I >
   Zet::Ptr< AdapterOf< Member< I > > >
   nboAttrLogAdapterIs( Zet_BitSet mask, Zet::Ptr< Member< I > > const& child, unsigned int flags,
                        Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );
   // Detaches the child's adapter from its output and returns the adapter.
   template < std::size_t I > Zet::Ptr< Base > nboAttrLogAdapterDel( Member< I > const& child );

   void handleReplayRequest( Zet::AttributeId id ) override;

 private:
   // Runs the handler that the class of T has for that attribute. Writes the attribute if there is
   // none.
   template < std::size_t I, class... K > void handle( K const&... key );

   // Writing.
   template < std::size_t I > bool writesNow();
   template < std::size_t I > void defer();
   template < std::size_t I > void refused();
   template < std::size_t I > bool interrupted( Key< I > const& key );
   template < class... V >
   bool write( Zet::AttributeId id, std::uint32_t creation, V const&... value );
   template < class Operation > bool guarded( Zet::AttributeId id, Operation operation );
   template < std::size_t I > void serializeChild( Zet::Ptr< Member< I > > const& child );
   template < std::size_t I >
   Zet::Ptr< AdapterOf< Member< I > > >
   announceChild( Zet_BitSet mask, Zet::Ptr< Member< I > > const& child, unsigned int flags,
                  Zet::Ptr< Zet::NboAttrLog::Out > const& out, Zet::PtrInterface* owner );
   template < std::size_t I >
   Zet::Ptr< Base > dropChild( Member< I > const& child,
                               Zet::Ptr< Zet::NboAttrLog::Out > const& out );
   Zet_BitSet notificationBits() const noexcept;
   bool sendPendingAborts();
   // Writes what the flow has to write of one attribute. Returns true if the flow pauses here; it
   // continues at `next`.
   template < std::size_t I > bool flowStep( Zet::AttributeId& next );
   template < std::size_t I > static constexpr Zet::AttributeId nextId();

   // Reading. A record fits two registers and is passed in them.
   struct Record {
      Zet::NboAttrLog::In& in;
      bool isLocal;
      bool createsEntity;
   };
   void read( Zet::AttributeId id, DeserializationOptions options, unsigned int n, Record record );
   template < std::size_t I >
   void readFrom( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                  Record record );
   // Reads a record from a peer that may not change the entity, and answers it.
   void answer( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                Zet::NboAttrLog::In& in );
   void readOther( Zet::AttributeId id, DeserializationOptions options, unsigned int n,
                   Record record );
   template < std::size_t I > void readValue( Record record );
   // Sets the value by a setter that takes its address.
   template < std::size_t I > void setFromMemory( Value< I > value );
   template < std::size_t I > static Value< I > nextValue( Zet::NboAttrLog::In& in );
   void requireCreating( Zet::AttributeId id, Zet::NboAttrLog::In const& in ) const;
   template < std::size_t I > void readKeyed( bool deleted, Record record );
   template < std::size_t I > void readMember( Record record );
   template < std::size_t I > void readMemberDeletion( Record record );
   template < std::size_t I > void readChild( Record record );
   template < std::size_t I > void readChildWithoutId( Record record, Zet::Name const& name );
   template < std::size_t I > Zet::EntityId nextChildId( Record record, Zet::Name const& name );
   template < std::size_t I >
   void createChild( Zet::NboAttrLog::In& in, Zet::Name const& name, Zet::EntityId id );
   template < std::size_t I >
   Zet::Ptr< Member< I > > childNamed( Zet::Name const& name, Zet::EntityId id );
   template < std::size_t I > void deleteMember( Key< I > const& key );
   void scanReplayRequest( Zet::NboAttrLog::In& in );
   template < class Visit > static bool visitCollection( Zet::AttributeId id, Visit visit );
   void answerTransaction( Zet::AttributeId id, AttrTransactionType type );
   template < std::size_t I > void mark( bool marked );
   template < std::size_t I > void sweep();

   Zet::Ptr< Observer< T > > observer_;
};

// The adapter of a type that has no adapter class of its own.
template < class T > class PlainAdapter final : public EntityAdapter< T > {
 public:
   using EntityAdapter< T >::EntityAdapter;

 protected:
   ~PlainAdapter() override = default;
};

// Returns a new adapter of T, registered in its output's demuxer. Writes nothing.
template < class T >
Zet::Ptr< AdapterOf< T > >
newAdapter( Zet::PtrInterface::NotifieeConst::Zet_BitSet mask, Zet::Ptr< T > const& entity,
            unsigned int flags, Zet::Ptr< Zet::NboAttrLog::Out > const& out,
            Zet::PtrInterface* owner ) {
   auto const adapter = Zet::make< AdapterOf< T > >( mask, entity, flags, out, owner );
   adapter->zetOnInit();
   return adapter;
}

template < class T >
EntityAdapter< T >::EntityAdapter( Zet_BitSet mask, Zet::Ptr< T > const& entity, unsigned int flags,
                                   Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                   Zet::PtrInterface* owner )
    : Base( mask, flags, out, owner ) {
   notifierReplace( entity );
   observer_ = Observer< T >::ZetNboAttrLogSaAdapter_Is( entity, *this );
}

template < class T > EntityAdapter< T >::~EntityAdapter() {
   // Its owner may drop it in the middle of a replay.
   if ( Zet::NboAttrLog::Demuxer* const connection = this->demuxer() )
      connection->abortReplays( *this );
   observer_->isRegisteredNotifieeIs( false );
   observer_->adapterIs( nullptr );
}

template < class T >
void
EntityAdapter< T >::hasNotificationActiveIs( bool active ) {
   Base::hasNotificationActiveIs( active );
   if ( active != observer_->hasNotificationActive() )
      observer_->hasNotificationActiveIs( active );
}

template < class T >
void
EntityAdapter< T >::notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) {
   Zet::Ptr< T const > const entity = Zet::ptrCast< T const >( object );
   if ( entity == notifier() )
      return;
   // The entity is another one, so it needs another id.
   Zet::Ptr< Base > const self( this );
   Zet::Ptr< Zet::NboAttrLog::Out > const out = nboAttrLogOut();
   bool const isRoot = demuxer() && demuxer()->rootAdapterDel( *this );
   doRemountSelf( nullptr );
   notifierReplace( entity );
   observer_->notifierIs( entity );
   if ( !entity )
      return;
   doRemountSelf( out );
   if ( isRoot && demuxer() )
      demuxer()->rootAdapterIs( self );
}

template < class T >
void
EntityAdapter< T >::zetDoZombieReactors( bool zombie ) {
   if ( zombie == this->zetMarkedForDeletion() )
      return;
   if ( observer_->notifier() )
      observer_->hasNotificationActiveIs( !zombie );
   observer_->zetMarkedForDeletionIs( zombie );
   Base::zetDoZombieReactors( zombie );
}

template < class T >
Zet::Ptr< Zet::NboAttrLog::FlowOut >
EntityAdapter< T >::flowOutIs( Zet::Ptr< Zet::NboAttrLog::Out > const&, Zet::ConnectDesc const&,
                               bool, Zet::AttributeId ) {
   flowOutStore( Zet::make< typename AdapterOf< T >::FlowOut >( *this ) );
   return flowOut();
}

template < class T >
void
EntityAdapter< T >::freeResyncState( Zet::Ptr< Zet::NboAttrLog::FlowOut > const& flow ) {
   if ( flow )
      static_cast< FlowOut& >( *flow ).freeBookmarks();
}

} // namespace AttrLog

#include "adapters/attrlog/Flowing.h"
#include "adapters/attrlog/Reading.h"
#include "adapters/attrlog/Writing.h"
