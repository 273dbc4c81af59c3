#pragma once

#include "adapters/notify/ReactorAdapter.h"
#include "adapters/reflect/ReflectedIf.h"

namespace Reflect {

// What every `T::GenericIf_::GenericIf_Adapter_` shares: from a notification of T to what its
// interface tells. The derived class names the attribute of each handler.
template < class T >
class ZET_EXPORT Bridge : public Notify::ReactorAdapter< typename T::Notifiee, T, Zet::GenericIf > {
   using Adapter = Notify::ReactorAdapter< typename T::Notifiee, T, Zet::GenericIf >;

 public:
   using Adapter::Adapter;

   void onIsNondestructing() override { tell( Zet::isNondestructingAttributeId ); }

   // Delivers what is pending of that attribute; of all, for the id that stands for all.
   void deliver( Zet::AttributeId id ) {
      bool const all = id == Zet::GenericIf::allAttributesId;
      Notify::forEachRow< T >( [ & ]< class R >( R const& row ) {
         if ( !all && row.id != id )
            return;
         if constexpr ( isCollection< R > )
            deliverKeyed< R::get >( all );
         else if ( all )
            tell( row.id );
      } );
   }

 protected:
   // The attribute changed, a collection as a whole.
   template < auto Get > void changed() { tell( Notify::rowOf< T, Get >().id ); }

   // One member of the collection changed.
   template < auto Get, class Key > void changedAt( Key key ) {
      Zet::GenericIf* const owner = this->reactingOwner();
      if ( !owner )
         return;
      auto& pending = this->template pendingKey< collectionIndex< Get >() >();
      pending.key = std::move( key );
      if ( !owner->zetOnAttribute( Notify::rowOf< T, Get >().id, pending.changes ) )
         deliverKeyed< Get >( false );
   }

 private:
   void tell( Zet::AttributeId id ) {
      if ( Zet::GenericIf* const owner = this->reactingOwner() )
         owner->onAttribute( id );
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

   // The place of the collection that `Get` reads among T's collections.
   template < auto Get > static constexpr std::size_t collectionIndex() {
      std::size_t index = 0;
      bool found = false;
      Notify::forEachRow< T >( [ & ]< class R >( R const& ) {
         if constexpr ( isCollection< R > ) {
            found = found || std::is_same_v< Notify::Detail::Identity< R::get >,
                                             Notify::Detail::Identity< Get > >;
            index += !found;
         }
      } );
      return index;
   }
};

// The generic interface of an entity, which hears of the entity's changes through its
// `GenericIf_Adapter_`.
template < class T >
class ZET_EXPORT ReflectedEntityIf : public ReflectedIf< T, Zet::GenericIfEntity > {
   using Base = ReflectedIf< T, Zet::GenericIfEntity >;

 public:
   ReflectedEntityIf( Zet::Ptr< T > entity, bool isConst )
       : Base( entity, isConst ),
         adapter_( Zet::make< typename T::GenericIf_::GenericIf_Adapter_ >( entity, this ) ) {}

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
