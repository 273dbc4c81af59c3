#include "platform/zet/NotifieeConst.h"

#include "platform/zet/NotificationFailure.h"

namespace Zet {

void
PtrInterface::NotifieeConst::hasNotificationActiveIs( bool active ) {
   if ( active == hasNotificationActive() )
      return;
   notificationActiveFlagIs( active );
   if ( active ) {
      if ( zet_bitSet().bit( wasRegisteredBit ) )
         isRegisteredNotifieeIs( true );
   } else {
      bitIs( wasRegisteredBit, registered_ );
      isRegisteredNotifieeIs( false );
   }
}

unsigned int
PtrInterface::NotifieeConst::auditErrors( unsigned int ) const {
   return registered_ && ( !hasNotificationActive() || zetMarkedForDeletion() ) ? 1 : 0;
}

Ptr< PtrInterface const >
PtrInterface::NotifieeConst::zetReactor() const {
   return this;
}

PtrInterface const*
PtrInterface::NotifieeConst::zetRawReactor() const {
   return this;
}

bool
PtrInterface::NotifieeConst::isStreamAdapter() const {
   return false;
}

void
PtrInterface::NotifieeConst::isRegisteredNotifieeIs( bool registered ) const {
   registeredFlagIs( registered );
}

void
PtrInterface::NotifieeConst::zet_bitSetIs( Zet_BitSet bits ) {
   bitsStore( bits );
}

Name
PtrInterface::NotifieeConst::name() const {
   return {};
}

void
PtrInterface::NotifieeConst::notifierIs( Ptr< PtrInterface const > const& notifier ) {
   notifierReplace( notifier );
}

void
PtrInterface::NotifieeConst::handleNotification( ActivityConfig* ) {}

void
PtrInterface::NotifieeConst::handleDefault( ActivityConfig*, AttributeId, bool ) {}

void
PtrInterface::NotifieeConst::onAttribute( AttributeId ) {}

void
PtrInterface::NotifieeConst::onNotification() {}

void
PtrInterface::NotifieeConst::onCollectionNotification( String8 ) {}

void
PtrInterface::NotifieeConst::onNotificationException() {
   handleNotificationFailure( *this, keyAttributeId );
}

void
PtrInterface::NotifieeConst::onNotificationException( AttributeId id ) {
   handleNotificationFailure( notifier_ ? *notifier_ : *this, id );
}

void
PtrInterface::NotifieeConst::handleNotificationException( AttributeId id ) {
   onNotificationException( id );
}

void
PtrInterface::NotifieeConst::handleNotificationException() {
   onNotificationException();
}

void
PtrInterface::NotifieeConst::onZeroReferences() {}

Ptr< ActivityConfig >
PtrInterface::NotifieeConst::activityPtr() const {
   return nullptr;
}

Ptr< ActivityConfig >
PtrInterface::NotifieeConst::zetFwkActivity() {
   return nullptr;
}

Ptr< ActivityConfig const >
PtrInterface::NotifieeConst::zetFwkActivity() const {
   return nullptr;
}

PtrInterface*
PtrInterface::NotifieeConst::actsm() {
   return nullptr;
}

void
PtrInterface::NotifieeConst::zetHasUncountedNotifierIs( bool uncounted ) {
   if ( uncounted == uncountedNotifier_ )
      return;
   uncountedNotifier_ = uncounted;
   if ( !notifier_ )
      return;
   if ( uncounted )
      notifier_->referenceDrop();
   else
      notifier_->referenceAdd();
}

void
PtrInterface::NotifieeConst::notifierReplace( Ptr< PtrInterface const > const& notifier ) {
   // Replacing the notifier may destroy the old one, so its hold is counted first.
   if ( uncountedNotifier_ && notifier_ )
      notifier_->referenceAdd();
   notifier_ = notifier;
   if ( uncountedNotifier_ && notifier_ )
      notifier_->referenceDrop();
}

void
PtrInterface::NotifieeConst::uncountedNotifierRestore() noexcept {
   if ( uncountedNotifier_ && notifier_ )
      notifier_->referenceAdd();
   uncountedNotifier_ = false;
}

} // namespace Zet
