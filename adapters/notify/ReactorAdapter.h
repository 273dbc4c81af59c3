#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"

namespace Notify {

// The part of a state machine that watches one object: a notifiee that forwards to its owner until
// it is a zombie. It holds the watched object; the owner holds it. `Base` is the notifiee class of
// the watched type.
template < class Base, class Watched, class Owner > class ZET_EXPORT ReactorAdapter : public Base {
 public:
   // Attaches and registers. Requires: the owner outlives this reactor, or detaches it by ownerIs(
   // null ).
   ReactorAdapter( Zet::Ptr< Watched > const& watched, Owner* owner ) : owner_( owner ) {
      // The override of notifierIs would call the owner, which is not ready yet.
      Base::notifierIs( watched );
      this->isRegisteredNotifieeIs( true );
   }

   void hasNotificationActiveIs( bool active ) override {
      if ( active != this->hasNotificationActive() )
         Base::hasNotificationActiveIs( active );
   }

   void ownerIs( Owner* owner ) noexcept { owner_ = owner; }

   // Makes the reactor a zombie or revives it. A zombie has left the watched object's list and
   // forwards nothing.
   virtual void zetDoZombieReactors( bool zombie ) {
      if ( zombie == this->zetMarkedForDeletion() )
         return;
      if ( this->notifier() )
         this->hasNotificationActiveIs( !zombie );
      this->zetMarkedForDeletionIs( zombie );
   }

 protected:
   ~ReactorAdapter() override { ReactorAdapter::zetDoZombieReactors( true ); }

   // Calls the owner's operation. The operation may drop this reactor, so nothing of it is used
   // afterwards.
   template < auto Operation, class... Key > void forward( Key const&... key ) {
      if ( Owner* const owner = reactingOwner() )
         ( owner->*Operation )( key... );
   }
   Owner* reactingOwner() const noexcept { return this->zetMarkedForDeletion() ? nullptr : owner_; }

 private:
   Owner* owner_;
};

// A reactor adapter that can be given another object to watch. `OnNew`, unless null, is the owner's
// reaction to a new object.
template < class Base, class Watched, class Owner, auto OnNew = nullptr >
class ZET_EXPORT WatchingReactor : public ReactorAdapter< Base, Watched, Owner > {
   using Adapter = ReactorAdapter< Base, Watched, Owner >;

 public:
   using Adapter::Adapter;

   void notifierIs( Zet::Ptr< Zet::PtrInterface const > const& object ) override {
      Zet::Ptr< Watched > const watched = Zet::ptrCast< Watched >( object );
      if ( watched == this->notifier() )
         return;
      // The owner's reaction may drop this reactor.
      Zet::Ptr< WatchingReactor > const self( this );
      Adapter::notifierIs( watched );
      if constexpr ( !std::is_null_pointer_v< decltype( OnNew ) > )
         if ( watched )
            this->template forward< OnNew >();
      this->isRegisteredNotifieeIs( true );
   }

 protected:
   ~WatchingReactor() override = default;
};

} // namespace Notify
