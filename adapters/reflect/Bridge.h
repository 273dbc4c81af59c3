#pragma once

#include "adapters/notify/ReactorAdapter.h"
#include "adapters/reflect/ReflectedIf.h"
#include "platform/zet/UntypedNotifiee.h"

namespace Reflect {

// Passes notifications of the entity T to T's generic interface, for any attribute.
template < class T >
class ZET_EXPORT Bridge final
    : public Notify::ReactorAdapter< Zet::UntypedNotifiee< T >, T, Zet::GenericIf > {
   using Adapter = Notify::ReactorAdapter< Zet::UntypedNotifiee< T >, T, Zet::GenericIf >;

 public:
   using Adapter::Adapter;

   void onChange( Zet::AttributeId id, void const* key ) override {
      if ( key )
         changedAt( id, key );
      else if ( id != Zet::zeroReferencesAttributeId )
         tell( id );
   }

   // Delivers the pending notifications of that attribute, or of all for allAttributesId.
   void deliver( Zet::AttributeId id ) {
      bool const all = id == Zet::GenericIf::allAttributesId;
      Notify::forEachRow< T >( [ & ]< class R >( R const& row ) {
         if ( !all && row.id != id )
            return;
         if constexpr ( isCollection< R > )
            deliverKeyed< R::get >( all );
         else
            tell( row.id );
      } );
   }

 private:
   void tell( Zet::AttributeId id ) {
      if ( Zet::GenericIf* const owner = this->reactingOwner() )
         owner->onAttribute( id );
   }

   // Apart, since it needs more registers saved.
   [[gnu::noinline]] void changedAt( Zet::AttributeId id, void const* key ) {
      Notify::forEachRow< T >( [ & ]< class R >( R const& row ) {
         if constexpr ( isCollection< R > )
            if ( row.id == id )
               changedAt< R >( key );
      } );
   }

   // Handles the change of one member of the collection.
   template < class R > void changedAt( void const* key ) {
      using Key = typename R::Key;
      static_assert( std::is_same_v< Notify::ArgumentsOf< R::handler >, std::tuple< Key > >,
                     "a collection's handler is told a key of the collection's type" );
      Zet::GenericIf* const owner = this->reactingOwner();
      if ( !owner )
         return;
      auto& pending = this->template pendingKey< collectionIndex< R::get >() >();
      pending.key = *static_cast< Key const* >( key );
      if ( !owner->zetOnAttribute( Notify::rowOf< T, R::get >().id, pending.changes ) )
         deliverKeyed< R::get >( false );
   }

   template < auto Get > void deliverKeyed( bool whole ) {
      Zet::GenericIf* const owner = this->reactingOwner();
      auto& pending = this->template pendingKey< collectionIndex< Get >() >();
      auto const changes = std::exchange( pending.changes, 0 );
      auto const id = Notify::rowOf< T, Get >().id;
      if ( !owner )
         return;
      if ( whole || changes > 1 )
         owner->onAttribute( id );
      else if ( changes == 1 )
         owner->onAttributeAt( id, resultIf( pending.key, owner->isConst() ) );
   }

   // Returns the place of the collection that `Get` reads among T's collections.
   template < auto Get > static constexpr std::size_t collectionIndex() {
      std::size_t index = 0;
      std::size_t place = Notify::Detail::indexOf< Get >( Notify::Description< T >::attributes );
      Notify::forEachRow< T >( [ & ]< class R >( R const& ) {
         if ( place == 0 )
            return;
         --place;
         index += isCollection< R >;
      } );
      return index;
   }
};

// The generic interface of an entity. Hears of the entity's changes through its
// `GenericIf_Adapter_`.
template < class T >
class ZET_EXPORT ReflectedEntityIf : public ReflectedIf< T, Zet::GenericIfEntity > {
   using Base = ReflectedIf< T, Zet::GenericIfEntity >;

 public:
   using GenericIf_Adapter_ = Bridge< T >;

   ReflectedEntityIf( Zet::Ptr< T > entity, bool isConst )
       : Base( entity, isConst ), adapter_( Zet::make< Bridge< T > >( entity, this ) ) {}

   void zetDoZombieReactors( bool zombie ) override {
      adapter_->zetDoZombieReactors( zombie );
      Base::zetDoZombieReactors( zombie );
   }

 protected:
   ~ReflectedEntityIf() override {
      adapter_->zetDoZombieReactors( true );
      adapter_->ownerIs( nullptr );
   }
   void handlePending( Zet::AttributeId id ) override { adapter_->deliver( id ); }

 private:
   Zet::Ptr< Bridge< T > > adapter_;
};

} // namespace Reflect
