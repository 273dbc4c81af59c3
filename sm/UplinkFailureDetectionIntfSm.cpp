#include "sm/UplinkFailureDetectionIntfSm.h"

#include "sm/UplinkFailureDetectionGroupSm.h"

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

void
UplinkFailureDetectionIntfSm::handleIntfStatus() {
   if ( groupSm_ )
      groupSm_->doCheckIntfs();
}

} // namespace UplinkFailureDetection
