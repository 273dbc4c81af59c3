#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "platform/interface/IntfStatus.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListLinked.h"

#include <cstdint>

namespace Interface {

// Operational states, numbered as ifOperStatus of the interfaces MIB (RFC 2863).
enum class OperStatus : std::uint32_t {
   up = 1,
   down = 2,
   testing = 3,
   unknown = 4,
   dormant = 5,
   notPresent = 6,
   lowerLayerDown = 7,
};

class ZET_EXPORT EthIntfStatus : public Notify::NotifyingEntity< EthIntfStatus, IntfStatus > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< EthIntfStatus >;
   // Linked both ways: every group that monitors the interface watches it.
   using NotifieeList = Zet::ListLinked< NotifieeConst >;

   explicit EthIntfStatus( Kelnet::IntfId intfId ) : NotifyingEntity( intfId ) {}

   // Returns a new status whose `operStatus` is unknown.
   [[nodiscard]] static Zet::Ptr< EthIntfStatus > EthIntfStatusIs( Kelnet::IntfId intfId );

   OperStatus operStatus() const noexcept { return operStatus_; }
   void operStatusIs( OperStatus status );

   // Returns the status's key in its directory.
   Kelnet::IntfId zetKey() const noexcept { return intfId(); }

 protected:
   ~EthIntfStatus() override;

 private:
   friend class Notify::NotifyingEntity< EthIntfStatus, IntfStatus >;

   OperStatus operStatus_ = OperStatus::unknown;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< EthIntfStatus, Kelnet::IntfId > zetChainLink;
};

class ZET_EXPORT EthIntfStatus::NotifieeConst
    : public Notify::EntityNotifiee< EthIntfStatus, IntfStatus::NotifieeConst > {
 public:
   virtual void onOperStatus() {}
};

} // namespace Interface

template <> struct Notify::Description< Interface::EthIntfStatus > {
   using T = Interface::EthIntfStatus;
   static constexpr std::string_view nameSpace = "Interface";
   static constexpr std::string_view name = "EthIntfStatus";
   static constexpr std::tuple attributes{
      Scalar< &T::operStatus, &T::operStatusIs, &T::NotifieeConst::onOperStatus >{ 258,
                                                                                   "operStatus" },
   };
};
