#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"

#include <cstdint>
#include <tuple>

namespace Notify {

// What a notifiee remembers per keyed collection for the delivery of deferred notifications.
template < class Key > struct PendingKey {
   Key key{};
   std::uint32_t changes = 0;
};

// What every `E::NotifieeConst` shares: the place in the entity's list, and joining and leaving
// it. `Base` is the notifiee of E's base, `Key...` are the keys of E's collections.
template < class E, class Base, class... Key >
class ZET_EXPORT EntityNotifiee : public Base, public E::NotifieeList::Hook {
 public:
   using Notifier = E;

   // Borrows: valid until the notifier is replaced.
   E const* notifier() const noexcept { return static_cast< E const* >( Base::notifier() ); }

   // Attaches to an E; null, and an object of another type, detach.
   void notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) override {
      Zet::Ptr< E const > const entity = Zet::ptrCast< E const >( object );
      if ( entity == notifier() )
         return;
      // The list that is left belongs to the old notifier, which may go with this reference.
      Zet::Ptr< E const > const old = notifier();
      this->notifierReplace( entity );
      if ( !this->isRegisteredNotifiee() )
         return;
      if ( old )
         old->notifieeDel( hook() );
      if ( entity )
         entity->notifieeIs( self() );
   }

   void isRegisteredNotifieeIs( bool registered ) const override {
      if ( registered == this->isRegisteredNotifiee() )
         return;
      this->registeredFlagIs( registered );
      if ( !notifier() )
         return;
      if ( registered )
         notifier()->notifieeIs( self() );
      else
         notifier()->notifieeDel( hook() );
   }

   Zet::Name name() const override { return notifier() ? notifier()->name() : Zet::Name(); }

   virtual void onIsNondestructing() {}

 protected:
   EntityNotifiee() = default;

   // That of the collection at this place among E's collections.
   template < std::size_t Place > auto& pendingKey() noexcept {
      return std::get< Place >( pendingKeys_ );
   }

   ~EntityNotifiee() override {
      if ( !notifier() )
         return;
      this->uncountedNotifierRestore();
      // Zombies as well: one that is given another notifier joins its list.
      if ( this->isRegisteredNotifiee() )
         notifier()->notifieeDel( hook() );
   }

 private:
   // The list hands its members out for their handlers to be called, which may change them.
   typename E::NotifieeConst& self() const noexcept {
      return const_cast< typename E::NotifieeConst& >(
          static_cast< typename E::NotifieeConst const& >( *this ) );
   }

   typename E::NotifieeList::Hook& hook() const noexcept {
      return const_cast< EntityNotifiee& >( *this );
   }

   [[no_unique_address]] std::tuple< PendingKey< Key >... > pendingKeys_;
};

// `E::Notifiee`: as E::NotifieeConst, for observers that may write to the entity.
template < class E > class ZET_EXPORT WritingNotifiee : public E::NotifieeConst {
 public:
   // The adapters of writers are given a writable entity to begin with.
   E* notifier() const noexcept { return const_cast< E* >( E::NotifieeConst::notifier() ); }
};

} // namespace Notify
