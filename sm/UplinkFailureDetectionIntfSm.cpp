#include "sm/UplinkFailureDetectionIntfSm.h"

#include "sm/UplinkFailureDetectionGroupSm.h"

#include <typeinfo>

namespace UplinkFailureDetection {

UplinkFailureDetectionIntfSm::UplinkFailureDetectionIntfSm(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
    UplinkFailureDetectionGroupSm* groupSm )
    : zetKey_( ethIntfStatus ? ethIntfStatus->intfId() : Kelnet::IntfId() ),
      ethIntfStatus_( newEthIntfStatus( ethIntfStatus ) ), groupSm_( groupSm ) {
   hasNotificationActiveIs( true );
}

UplinkFailureDetectionIntfSm::~UplinkFailureDetectionIntfSm() {
   reactorsEnd();
}

Zet::Ptr< UplinkFailureDetectionIntfSm >
UplinkFailureDetectionIntfSm::UplinkFailureDetectionIntfSmIs(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
    UplinkFailureDetectionGroupSm* groupSm ) {
   return Zet::validPtr( Zet::make< UplinkFailureDetectionIntfSm >( ethIntfStatus, groupSm ) );
}

Interface::EthIntfStatus const*
UplinkFailureDetectionIntfSm::ethIntfStatus() const noexcept {
   return ethIntfStatus_ ? ethIntfStatus_->notifier() : nullptr;
}

void
UplinkFailureDetectionIntfSm::ethIntfStatusIs(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus ) {
   reactorIs( ethIntfStatus_, ethIntfStatus );
}

void
UplinkFailureDetectionIntfSm::ethIntfStatusDel() {
   ethIntfStatusIs( nullptr );
}

Zet::Ptr< UplinkFailureDetectionIntfSm::ZetEthIntfStatus >
UplinkFailureDetectionIntfSm::newEthIntfStatus(
    Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus ) {
   return newReactor< ZetEthIntfStatus >( ethIntfStatus );
}

Kelnet::IntfId
UplinkFailureDetectionIntfSm::intfId() const noexcept {
   Interface::EthIntfStatus const* const status = ethIntfStatus();
   return status ? status->intfId() : Kelnet::IntfId();
}

// Loads ahead for the groups that watch the same interface: their checks follow this one.
void
UplinkFailureDetectionIntfSm::ZetEthIntfStatus::fetchNext() const {
   using Part = UplinkFailureDetectionGroupSm::Part;
   ZetEthIntfStatus const* at = this;
   for ( Part const part : { Part::causeBuckets, Part::moreMembers, Part::members, Part::config,
                             Part::objects, Part::machine } ) {
      if ( UplinkFailureDetectionGroupSm const* const sm = at->groupSm() )
         sm->fetch( part );
      if ( at = reactorAt( at->next ); !at )
         return;
   }
   // The next machine is found through these two.
   if ( UplinkFailureDetectionIntfSm const* const owner = at->reactingOwner() )
      Zet::fetch( *owner );
   __builtin_prefetch( at->next );
}

UplinkFailureDetectionGroupSm const*
UplinkFailureDetectionIntfSm::ZetEthIntfStatus::groupSm() const noexcept {
   UplinkFailureDetectionIntfSm const* const owner = reactingOwner();
   return owner ? owner->groupSm() : nullptr;
}

UplinkFailureDetectionIntfSm::ZetEthIntfStatus const*
UplinkFailureDetectionIntfSm::ZetEthIntfStatus::reactorAt(
    Interface::EthIntfStatus::NotifieeConst const* notifiee ) {
   return notifiee && typeid( *notifiee ) == typeid( ZetEthIntfStatus )
              ? static_cast< ZetEthIntfStatus const* >( notifiee )
              : nullptr;
}

void
UplinkFailureDetectionIntfSm::handleIntfStatus() {
   if ( groupSm_ )
      groupSm_->doCheckIntfs();
}

} // namespace UplinkFailureDetection
