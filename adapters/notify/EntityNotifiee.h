#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"

#include <cstdint>
#include <tuple>

namespace Notify {

// The state that a notifiee keeps per keyed collection, to deliver deferred notifications.
template < class Key > struct PendingKey {
   Key key{};
   std::uint32_t changes = 0;
};

// The common part of every `E::NotifieeConst`: its place in the entity's list, and joining and
// leaving that list. `Base` is the notifiee of E's base. `Key...` are the keys of E's collections.
template < class E, class Base, class... Key >
class ZET_EXPORT EntityNotifiee : public Base, public E::NotifieeList::Hook {
 public:
   using Notifier = E;

   // Returns the notifier. Borrows: valid until the notifier is replaced.
   E const* notifier() const noexcept { return static_cast< E const* >( Base::notifier() ); }

   // Attaches to an E. Null, or an object of another type, detaches.
   void notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) override {
      Zet::Ptr< E const > const entity = Zet::ptrCast< E const >( object );
      if ( entity == notifier() )
         return;
      // Held, because the notifiee leaves the old notifier's list below.
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

   // Returns the pending key of the collection at this place among E's collections.
   template < std::size_t Place > auto& pendingKey() noexcept {
      return std::get< Place >( pendingKeys_ );
   }

   ~EntityNotifiee() override {
      if ( !notifier() )
         return;
      this->uncountedNotifierRestore();
      // Zombies too: a zombie that is given another notifier joins that notifier's list.
      if ( this->isRegisteredNotifiee() )
         notifier()->notifieeDel( hook() );
   }

 private:
   // Not const: the list hands its members out for their handlers to be called, and handlers may
   // change the members.
   typename E::NotifieeConst& self() const noexcept {
      return const_cast< typename E::NotifieeConst& >(
          static_cast< typename E::NotifieeConst const& >( *this ) );
   }

   typename E::NotifieeList::Hook& hook() const noexcept {
      return const_cast< EntityNotifiee& >( *this );
   }

   [[no_unique_address]] std::tuple< PendingKey< Key >... > pendingKeys_;
};

// `E::Notifiee`: an E::NotifieeConst that may write to the entity.
template < class E > class ZET_EXPORT WritingNotifiee : public E::NotifieeConst {
 public:
   // Casting const away is right: a writer's adapter was given a writable entity.
   E* notifier() const noexcept { return const_cast< E* >( E::NotifieeConst::notifier() ); }
};

} // namespace Notify
