#pragma once

#include "adapters/notify/ReactorAdapter.h"
#include "adapters/notify/StateMachine.h"
#include "platform/interface/EthIntfStatus.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/HashMap.h"

namespace UplinkFailureDetection {

class UplinkFailureDetectionGroupSm;

// One monitored interface of one group: has the group check itself whenever the interface's
// operational status changes. It keeps nothing about the interface; the group reads the status.
class ZET_EXPORT UplinkFailureDetectionIntfSm
    : public Notify::StateMachine< UplinkFailureDetectionIntfSm > {
 public:
   class _Type;
   class GenericIf_;
   class ZetEthIntfStatus;

   // Borrows: `groupSm`, which owns the machine made.
   UplinkFailureDetectionIntfSm( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                 UplinkFailureDetectionGroupSm* groupSm );
   static Zet::Ptr< UplinkFailureDetectionIntfSm >
   UplinkFailureDetectionIntfSmIs( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                   UplinkFailureDetectionGroupSm* groupSm );

   // Borrows: valid until another status is watched. Null when there is none.
   Interface::EthIntfStatus const* ethIntfStatus() const noexcept;
   // Watches another status, which is taken in at once. Requires: it is of the same interface.
   void ethIntfStatusIs( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus );
   void ethIntfStatusDel();
   // A new, active reactor, for the machine to keep; null for no status.
   Zet::Ptr< ZetEthIntfStatus >
   newEthIntfStatus( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus );
   // The watched interface; the empty id when there is none.
   Kelnet::IntfId intfId() const noexcept;
   // Borrows: valid until the machine is removed from it; null from then on.
   UplinkFailureDetectionGroupSm* groupSm() const noexcept { return groupSm_; }
   // Used by the group machine alone, which may go before whoever holds this does.
   void groupSmDel() noexcept { groupSm_ = nullptr; }

   // Has the group machine, if there is one still, check itself.
   void handleIntfStatus();

   // The key under which the group machine keeps it: the interface at first, whatever it watches
   // later.
   Kelnet::IntfId zetKey() const noexcept { return zetKey_; }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~UplinkFailureDetectionIntfSm() override;

 private:
   friend class Notify::StateMachine< UplinkFailureDetectionIntfSm >;

   auto reactors() noexcept { return std::tie( ethIntfStatus_ ); }
   template < class Visit > void forEachChild( Visit ) {}

   Zet::Ptr< ZetEthIntfStatus > ethIntfStatus_;
   UplinkFailureDetectionGroupSm* groupSm_;
   Kelnet::IntfId const zetKey_;

 public:
   Zet::ChainLink< UplinkFailureDetectionIntfSm > zetChainLink;
};

class ZET_EXPORT UplinkFailureDetectionIntfSm::ZetEthIntfStatus
    : public Notify::WatchingReactor< Interface::EthIntfStatus::NotifieeConst,
                                      Interface::EthIntfStatus const, UplinkFailureDetectionIntfSm,
                                      &UplinkFailureDetectionIntfSm::handleIntfStatus > {
 public:
   using WatchingReactor::WatchingReactor;
   void uplinkFailureDetectionIntfSmIs( UplinkFailureDetectionIntfSm* owner ) { ownerIs( owner ); }

   void onOperStatus() override { forward< &UplinkFailureDetectionIntfSm::handleIntfStatus >(); }
};

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::UplinkFailureDetectionIntfSm > {
   using T = UplinkFailureDetection::UplinkFailureDetectionIntfSm;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "UplinkFailureDetectionIntfSm";
   static constexpr std::tuple attributes{
      WatchedReference< &T::ethIntfStatus >{ 130, "ethIntfStatus" },
      DerivedKey< &T::intfId >{ 131, "intfId" },
      HeldReference< &T::groupSm >{ 132, "groupSm" },
      Function< &T::handleIntfStatus >{ 133, "handleIntfStatus" },
   };
};
