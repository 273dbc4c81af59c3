#pragma once

#include "adapters/notify/ReactorAdapter.h"
#include "adapters/notify/StateMachine.h"
#include "platform/interface/EthIntfStatus.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/HashMap.h"

namespace UplinkFailureDetection {

class UplinkFailureDetectionGroupSm;

// Watches one monitored interface of one group. Makes the group check itself whenever the
// interface's operational status changes. Stores no status; the group reads it from the interface.
class ZET_EXPORT UplinkFailureDetectionIntfSm
    : public Notify::StateMachine< UplinkFailureDetectionIntfSm > {
 public:
   class _Type;
   class GenericIf_;
   class ZetEthIntfStatus;

   // Borrows: `groupSm`, which owns this machine.
   UplinkFailureDetectionIntfSm( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                 UplinkFailureDetectionGroupSm* groupSm );
   static Zet::Ptr< UplinkFailureDetectionIntfSm >
   UplinkFailureDetectionIntfSmIs( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus,
                                   UplinkFailureDetectionGroupSm* groupSm );

   // Returns null when there is none. Borrows: valid until another status is watched.
   Interface::EthIntfStatus const* ethIntfStatus() const noexcept;
   // Watches another status. One that replaces another is taken in at once.
   // Requires: the status is of the same interface.
   void ethIntfStatusIs( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus );
   void ethIntfStatusDel();
   // Returns a new, active reactor for the machine to keep; null for a null status.
   Zet::Ptr< ZetEthIntfStatus >
   newEthIntfStatus( Zet::Ptr< Interface::EthIntfStatus const > const& ethIntfStatus );
   // Returns the watched interface; the empty id when there is none.
   Kelnet::IntfId intfId() const noexcept;
   // Returns null once this machine has been removed from its group machine. Borrows: valid until
   // then.
   UplinkFailureDetectionGroupSm* groupSm() const noexcept { return groupSm_; }
   // Called by the group machine alone, which may go before the last holder of this machine.
   void groupSmDel() noexcept { groupSm_ = nullptr; }

   // Makes the group machine check itself. Does nothing once that machine is gone.
   void handleIntfStatus();

   // Returns the machine's key in its group machine: the interface at construction, even when the
   // machine watches another status later.
   Kelnet::IntfId zetKey() const noexcept { return zetKey_; }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~UplinkFailureDetectionIntfSm() override;

 private:
   friend class Notify::StateMachine< UplinkFailureDetectionIntfSm >;

   auto reactors() noexcept { return std::tie( ethIntfStatus_ ); }
   template < class Visit > void forEachChild( Visit ) {}

   // First, to fill the gap behind the base's count.
   Kelnet::IntfId const zetKey_;
   Zet::Ptr< ZetEthIntfStatus > ethIntfStatus_;
   UplinkFailureDetectionGroupSm* groupSm_;

 public:
   Zet::ChainLink< UplinkFailureDetectionIntfSm, Kelnet::IntfId > zetChainLink;
};

class ZET_EXPORT UplinkFailureDetectionIntfSm::ZetEthIntfStatus
    : public Notify::WatchingReactor< Interface::EthIntfStatus::NotifieeConst,
                                      Interface::EthIntfStatus const, UplinkFailureDetectionIntfSm,
                                      &UplinkFailureDetectionIntfSm::handleIntfStatus > {
 public:
   using WatchingReactor::WatchingReactor;
   void uplinkFailureDetectionIntfSmIs( UplinkFailureDetectionIntfSm* owner ) { ownerIs( owner ); }

   void onOperStatus() override {
      if ( this->next )
         fetchNext();
      forward< &UplinkFailureDetectionIntfSm::handleIntfStatus >();
   }

 private:
   void fetchNext() const;
   UplinkFailureDetectionGroupSm const* groupSm() const noexcept;
   static ZetEthIntfStatus const*
   reactorAt( Interface::EthIntfStatus::NotifieeConst const* notifiee );
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
