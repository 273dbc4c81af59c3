#pragma once

#include "adapters/attrlog/EntityAdapter.h"

// The writing half of EntityAdapter: changes, as they happen.
namespace AttrLog {

namespace Detail {

// Returns the handler that the adapter's class has for that attribute; null when there is none.
template < class Adapter, auto Get >
constexpr auto
ownHandler() {
   if constexpr ( requires { typename Adapter::Handlers; } ) {
      constexpr typename Adapter::Handlers handlers;
      constexpr std::size_t index = Notify::Detail::indexOf< Get >( handlers );
      if constexpr ( index < std::tuple_size_v< typename Adapter::Handlers > )
         return std::tuple_element_t< index, typename Adapter::Handlers >::handler;
      else
         return nullptr;
   } else
      return nullptr;
}

} // namespace Detail

template < class T >
template < class... V >
bool
EntityAdapter< T >::write( Zet::AttributeId id, std::uint32_t creation, V const&... value ) {
   return nboAttrLogOut()->record( { entityId(), id, Zet::NboAttrLog::attributeKind, 0, creation },
                                   Codec< V >::wire( value )... );
}

// Returns true if the record of a change may be written now. Otherwise defers the record, unless
// the change is not to be written at all.
template < class T >
template < std::size_t I >
bool
EntityAdapter< T >::writesNow() {
   if ( !mayWrite( row< I >().id ) )
      return false;
   bool const hasRoom = this->hasRoom();
   if ( bit( deferredBit ) ) {
      if ( bit( flowingBit ) || hasRoom )
         return true;
   } else if ( flowOut() && flowOut()->prepareImmediateTransmission( row< I >().id, !hasRoom ) ) {
      // A collection is clean only when its replay is complete.
      if constexpr ( !CollectionRow< Row< I > > )
         flow()->template dirtyIs< I >( false );
      return true;
   }
   defer< I >();
   return false;
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::defer() {
   if ( !flowNeeded() )
      return;
   flow()->attrIdIs( row< I >().id );
   flow()->blockedIs( true );
   if constexpr ( CollectionRow< Row< I > > )
      flow()->template memberDeferred< I >();
   else
      flow()->template dirtyIs< I >( true );
}

// Schedules the record, which had no room after all.
template < class T >
template < std::size_t I >
void
EntityAdapter< T >::refused() {
   if ( !flowNeeded() )
      return;
   flow()->blockedIs( true );
   flow()->template dirtyIs< I >( true );
}

template < class T >
template < std::size_t I, class... K >
void
EntityAdapter< T >::handle( K const&... key ) {
   static constexpr auto own = Detail::ownHandler< AdapterOf< T >, Row< I >::get >();
   if constexpr ( own == nullptr )
      changed< I >( key... );
   else
      ( static_cast< AdapterOf< T >& >( *this ).*own )( key... );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::changed() {
   if ( !writesNow< I >() )
      return;
   if ( !write( row< I >().id, 0, ( notifier()->*Row< I >::get )() ) )
      refused< I >();
   else if ( flow() )
      flow()->template dirtyIs< I >( false );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::changed( Key< I > const& key ) {
   serializeSing< I >( key, members< I >().find( key ) );
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::serializeSing( Key< I > const& key, Member< I > const* member ) {
   if constexpr ( ValuesRow< Row< I > > ) {
      using V = ValueOfMember< Member< I > >;
      serializeSing< I >( key, member ? member->value() : V{}, !member );
   } else if ( member ) {
      if ( writesNow< I >() )
         serializeChild< I >( Zet::Ptr< Member< I > >( const_cast< Member< I >* >( member ) ) );
   } else {
      childDel( { row< I >().id, key } );
      if ( writesNow< I >() && !write( -row< I >().id, 0, key ) )
         refused< I >();
   }
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::serializeSing( Key< I > const& key, ValueOfMember< Member< I > > const& value,
                                   bool deleted ) {
   if ( !writesNow< I >() )
      return;
   if ( !( deleted ? write( -row< I >().id, 0, key ) : write( row< I >().id, 0, key, value ) ) )
      refused< I >();
}

template < class T >
template < std::size_t I >
void
EntityAdapter< T >::serializeChild( Zet::Ptr< Member< I > > const& child ) {
   // A reader in this process may answer the record with any change.
   Zet::Ptr< Zet::NboAttrLog::Out > const out = nboAttrLogOut();
   Zet::Ptr< Base > adapter;
   try {
      Zet::Expect const expect( Zet::NameInUseException::id );
      adapter = announceChild< I >( notificationBits(), child, AttachFlag::asChild, out, owner() );
   } catch ( Zet::NameInUseException const& ) {
      return;
   }
   if ( !adapter )
      return refused< I >();
   doFixChildFlags( *adapter );
   if ( bit( flowingBit ) || state() == State::live )
      adapter->doThis();
   if ( Zet::NboAttrLog::Demuxer* const local = demuxFor( *out );
        local && adapter->bit( awaitsIdBit ) && out->demuxer() )
      if ( Zet::EntityId const id = local->in()->nextEntityId() )
         adapter->doEntityIdIs( id, *out->demuxer(), true );
}

// Returns null when there was no room for the record.
template < class T >
template < std::size_t I >
Zet::Ptr< AdapterOf< MemberOf< T, I > > >
EntityAdapter< T >::announceChild( Zet_BitSet mask, Zet::Ptr< Member< I > > const& child,
                                   unsigned int flags, Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                   Zet::PtrInterface* owner ) {
   auto adapter = nboAttrLogAdapter< I >( *child );
   bool const isNew = !adapter;
   if ( isNew )
      adapter = newAdapter< Member< I > >( mask, child, flags, out, owner );
   else
      adapter->notificationMaskIs( mask );
   childIs( { row< I >().id, child->zetName() }, adapter );
   if ( adapter->bit( announcedBit ) )
      return adapter;
   bool written = false;
   try {
      written = write( row< I >().id, Zet::NboAttrLog::createsEntity, child->zetName(),
                       adapter->entityId() );
   } catch ( ... ) {
      // The peer does not know the child, so nothing of the child may be written.
      childDel( { row< I >().id, child->zetName() } );
      throw;
   }
   if ( written )
      return adapter;
   if ( isNew )
      childDel( { row< I >().id, child->zetName() } );
   return nullptr;
}

template < class T >
template < std::size_t I >
Zet::Ptr< AdapterOf< MemberOf< T, I > > >
EntityAdapter< T >::nboAttrLogAdapter( Member< I > const& child ) const {
   return Zet::ptrCast< AdapterOf< Member< I > > >( child.zetNboAttrLogSa( nboAttrLogOut() ) );
}

template < class T >
template < std::size_t I >
Zet::Ptr< AdapterOf< MemberOf< T, I > > >
EntityAdapter< T >::nboAttrLogAdapterIs( Zet_BitSet mask, Zet::Ptr< Member< I > > const& child,
                                         unsigned int flags,
                                         Zet::Ptr< Zet::NboAttrLog::Out > const& out,
                                         Zet::PtrInterface* owner ) {
   return Zet::validPtr( announceChild< I >( mask, child, flags, out, owner ) );
}

template < class T >
template < std::size_t I >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
EntityAdapter< T >::nboAttrLogAdapterDel( Member< I > const& child ) {
   return dropChild< I >( child, nboAttrLogOut() );
}

template < class T >
template < std::size_t I >
Zet::Ptr< Zet::Entity::ZetNboAttrLogSa >
EntityAdapter< T >::dropChild( Member< I > const& child,
                               Zet::Ptr< Zet::NboAttrLog::Out > const& out ) {
   if ( Zet::Ptr< Base > const removed = childDel( { row< I >().id, child.zetName() } ) )
      return removed;
   // An adapter that was attached through the child's own hook is not among our children.
   Zet::Ptr< Base > const attached = child.zetNboAttrLogSa( out );
   if ( attached )
      attached->doRemountSelf( nullptr );
   return attached;
}

template < class T >
Zet::PtrInterface::NotifieeConst::Zet_BitSet
EntityAdapter< T >::notificationBits() const noexcept {
   Zet_BitSet bits;
   for ( unsigned int one = 0; one <= writesBit; ++one )
      bits.bitIs( one, this->zet_bitSet().bit( one ) &&
                           ( this->notificationBitMask() >> one & 1 ) != 0 );
   return bits;
}

template < class T >
void
EntityAdapter< T >::doNotification( Zet::AttributeId id, void* key ) {
   // Writing may end the adapter. A received change is not written, and who applies it holds the
   // adapter.
   Zet::Ptr< Base > const self( bit( applyingBit ) ? nullptr : this );
   bool handled = false;
   forEachSerialized< T >( [ & ]( auto i ) {
      if constexpr ( CollectionRow< Row< i > > ) {
         if ( id != row< i >().id && id != -row< i >().id )
            return;
         handle< i >( *static_cast< Key< i > const* >( key ) );
      } else {
         if ( id != row< i >().id )
            return;
         handle< i >();
      }
      handled = true;
   } );
   if ( !handled )
      Base::doNotification( id, key );
}

template < class T >
void
EntityAdapter< T >::doRemountSelf( Zet::Ptr< Zet::NboAttrLog::Out > const& out ) {
   Zet::Ptr< Zet::NboAttrLog::Out > const before = nboAttrLogOut();
   if ( out == before )
      return;
   Base::doRemountSelf( out );
   if ( !notifier() )
      return;
   forEachSerialized< T >( [ & ]( auto i ) {
      if constexpr ( EntitiesRow< Row< i > > )
         for ( auto at = members< i >().begin(); at; ++at )
            dropChild< i >( *at, before );
   } );
}

} // namespace AttrLog
