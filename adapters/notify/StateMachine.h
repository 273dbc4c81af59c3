#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/ActivityConfig.h"
#include "platform/zet/Export.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"

#include <tuple>
#include <utility>

namespace Notify {

// The common base of every state machine: switches its reactors and children on and off, and ends
// them. A machine works inside of notifications, so it has no activity of its own.
//
// Sm has reactors(), a tuple of references to its pointers to reactors, in the order of switching.
// Sm has forEachChild( visit ). Sm befriends this class. Sm's constructor, or a later start, ends
// with hasNotificationActiveIs( true ). Sm's destructor begins with reactorsEnd().
template < class Sm > class ZET_EXPORT StateMachine : public Zet::PtrInterface {
 public:
   void hasNotificationActiveIs( bool active ) override {
      if ( active == hasNotificationActive() )
         return;
      notificationActiveFlagIs( active );
      auto const pass = [ active ]( auto& part ) { part.hasNotificationActiveIs( active ); };
      forEachReactor( pass );
      self().forEachChild( pass );
   }

   // Makes the machine's reactors zombies or revives them, not its children's: each child does that
   // itself when it goes.
   virtual void zetDoZombieReactors( bool zombie ) {
      if ( zombie == zetMarkedForDeletion() )
         return;
      forEachReactor( [ zombie ]( auto& part ) { part.zetDoZombieReactors( zombie ); } );
      zetMarkedForDeletionIs( zombie );
   }

   Zet::Ptr< Zet::ActivityConfig > zetFwkActivity() { return nullptr; }
   Zet::Ptr< Zet::ActivityConfig const > zetFwkActivity() const { return nullptr; }

   Zet::Ptr< Zet::ZetType const > fwkType() const override { return Sm::_fwkType(); }

 protected:
   // Returns a new, active reactor of that type; null for a null object.
   template < class Reactor, class Watched >
   Zet::Ptr< Reactor > newReactor( Zet::Ptr< Watched > const& watched ) {
      if ( !watched )
         return nullptr;
      Zet::Ptr< Reactor > const reactor = Zet::make< Reactor >( watched, &self() );
      reactor->hasNotificationActiveIs( true );
      return reactor;
   }

   // Makes the reactor watch that object. Null ends the reactor.
   template < class Reactor, class Watched >
   void reactorIs( Zet::Ptr< Reactor >& reactor, Zet::Ptr< Watched > const& watched ) {
      if ( watched && reactor )
         reactor->notifierIs( watched );
      else if ( watched )
         reactor = newReactor< Reactor >( watched );
      else if ( Zet::Ptr< Reactor > const ended = std::exchange( reactor, nullptr ) )
         end( *ended );
   }

   // Ends all reactors: none calls back from here on.
   void reactorsEnd() {
      zetDoZombieReactors( true );
      forEachReactor( []( auto& part ) { part.ownerIs( nullptr ); } );
   }

 private:
   template < class Reactor > static void end( Reactor& reactor ) {
      reactor.zetDoZombieReactors( true );
      reactor.ownerIs( nullptr );
   }
   template < class Visit > void forEachReactor( Visit visit ) {
      auto const visitPresent = [ & ]( auto& reactor ) {
         if ( reactor )
            visit( *reactor );
      };
      std::apply( [ & ]( auto&... reactor ) { ( visitPresent( reactor ), ... ); },
                  self().reactors() );
   }
   Sm& self() noexcept { return static_cast< Sm& >( *this ); }
};

} // namespace Notify
