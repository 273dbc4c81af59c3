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

// If many groups watch an interface, what their checks read is far away in memory. Makes the
// processor load one more part of it for this group and each of the next, so that most is there
// when their turn comes.
void
UplinkFailureDetectionIntfSm::ZetEthIntfStatus::fetchNext() const {
   using Part = UplinkFailureDetectionGroupSm::Part;
   ZetEthIntfStatus const* at = this;
   auto const step = [ &at ] { return ( at = reactorAt( at->next ) ) != nullptr; };
   for ( Part const part :
         { Part::causeBuckets, Part::moreMembers, Part::members, Part::config } ) {
      if ( UplinkFailureDetectionGroupSm const* const sm = at->groupSm() )
         sm->fetch( part );
      if ( !step() )
         return;
   }
   // Of the groups after these, what leads there.
   if ( UplinkFailureDetectionGroupSm const* const sm = at->groupSm() )
      sm->fetchObjects();
   if ( !step() )
      return;
   if ( UplinkFailureDetectionGroupSm const* const sm = at->groupSm() )
      Zet::fetch( *sm );
   if ( !step() )
      return;
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
