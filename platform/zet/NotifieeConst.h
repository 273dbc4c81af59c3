#pragma once

#include "platform/zet/ActivityConfig.h"
#include "platform/zet/AttributeId.h"
#include "platform/zet/BitSet.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"
#include "platform/zet/String8.h"

#include <cstdint>

namespace Zet {

template < class E > class UntypedNotifiee;

// An observer of one object, its notifier. It holds a reference on the notifier. While registered,
// it is in the notifier's list. That list holds no reference on it: its owner keeps it alive.
class ZET_EXPORT PtrInterface::NotifieeConst : public PtrInterface {
 public:
   using Zet_BitSet = BitSet< 27, unsigned int >;

   NotifieeConst() : PtrInterface( true ), bits_( 1u << constructedBit ) {}

   static constexpr unsigned int notificationBitMask() noexcept { return 0xfa8fffff; }

   // Turns delivery on or off. Turning it off leaves the notifier's list. Turning it on rejoins
   // that list if the notifiee was registered when delivery was turned off.
   void hasNotificationActiveIs( bool active ) override;
   unsigned int auditErrors( unsigned int level ) const override;

   // Return the object on whose behalf this notifiee reacts: by default the notifiee itself.
   virtual Ptr< PtrInterface const > zetReactor() const;
   virtual PtrInterface const* zetRawReactor() const;
   virtual bool isStreamAdapter() const;
   virtual void isRegisteredNotifieeIs( bool registered ) const;
   virtual void zet_bitSetIs( Zet_BitSet bits );
   virtual Name name() const;
   virtual void notifierIs( Ptr< PtrInterface const > const& notifier );
   virtual void handleNotification( ActivityConfig* activity );
   virtual void handleDefault( ActivityConfig* activity, AttributeId id, bool on );
   virtual void onAttribute( AttributeId id );
   virtual void onNotification();
   virtual void onCollectionNotification( String8 key );
   // Called inside of a catch clause after a handler of this notifiee threw. By default the failure
   // goes to the sink of NotificationFailure.h. An exception from here leaves the setter.
   virtual void onNotificationException();
   virtual void onNotificationException( AttributeId id );
   virtual void handleNotificationException( AttributeId id );
   virtual void handleNotificationException();
   virtual void onZeroReferences();
   virtual Ptr< ActivityConfig > activityPtr() const;
   virtual Ptr< ActivityConfig > zetFwkActivity();
   virtual Ptr< ActivityConfig const > zetFwkActivity() const;
   virtual PtrInterface* actsm();

   // Returns the notifier. Borrows: valid until the notifier is replaced.
   PtrInterface const* notifier() const noexcept { return notifier_.get(); }
   bool isRegisteredNotifiee() const noexcept { return registered_; }
   Zet_BitSet zet_bitSet() const noexcept { return Zet_BitSet( bits_ ); }

   // Returns true for an UntypedNotifiee only. A plain flag, since every delivery asks.
   bool isUntyped() const noexcept { return untyped_; }

   // Says whether the notifier is uncounted. An uncounted notifier's life does not depend on this
   // notifiee.
   // Requires: the notifiee is detached, or destroyed, before an uncounted notifier is.
   bool zetHasUncountedNotifier() const noexcept { return uncountedNotifier_; }
   void zetHasUncountedNotifierIs( bool uncounted );

 protected:
   ~NotifieeConst() override = default;

   // Returns true if the notifiee is held once and nobody has changed it since its making.
   [[gnu::always_inline]] bool isAsMade() const noexcept {
      return isHeldOnceAsMade() && !notifier_ && bits_ == 1u << constructedBit &&
             !uncountedNotifier_ && !untyped_ && !registered_;
   }
   void bitIs( unsigned int place, bool on ) noexcept {
      Zet_BitSet bits = zet_bitSet();
      bits.bitIs( place, on );
      bitsStore( bits );
   }
   // Changes the flag alone. The typed notifiee joins and leaves the lists.
   void registeredFlagIs( bool registered ) const noexcept { registered_ = registered; }
   // Stores the new notifier. An uncounted hold stays uncounted.
   void notifierReplace( Ptr< PtrInterface const > const& notifier );
   // Counts the hold again, so that the base destructor may release it.
   void uncountedNotifierRestore() noexcept;

 private:
   // Remembers, while the notifiee is inactive, whether it was registered.
   static constexpr unsigned int wasRegisteredBit = 19;
   static constexpr unsigned int constructedBit = 26;

   template < class E > friend class UntypedNotifiee;

   void bitsStore( Zet_BitSet bits ) noexcept {
      bits_ = bits.word() & ( ( 1u << Zet_BitSet::size ) - 1 );
   }

   // One word: most objects of a large configuration are notifiees.
   unsigned int bits_ : Zet_BitSet::size; // A Zet_BitSet.
   unsigned int uncountedNotifier_ : 1 = false;
   unsigned int untyped_ : 1 = false;
   // Mutable: a watcher that registers shows no change to anybody else.
   mutable unsigned int registered_ : 1 = false;
   Ptr< PtrInterface const > notifier_;
};

} // namespace Zet
