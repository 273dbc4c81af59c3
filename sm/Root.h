#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "platform/zet/ListRaw.h"
#include "sm/UplinkFailureDetectionSm.h"

namespace UplinkFailureDetection {

// Starts and stops uplink failure detection for the hosting process. Owns at most one top machine.
// Tells its notifiees when that machine is made, replaced or dropped.
class ZET_EXPORT Root : public Notify::NotifyingEntity< Root > {
 public:
   class _Type;
   class GenericIf_;
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Root >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   explicit Root( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}

   // Returns null when detection does not run.
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSm() const { return sm_; }
   // Starts detection on these four objects and returns its machine. When the present machine
   // already runs on the same four, returns that machine and tells nobody. Otherwise replaces the
   // present machine once the new one has evaluated every group. The writes of the old machine are
   // not undone; the new one overwrites them.
   // Throws: any exception from making the new machine; the old one then stays.
   // Requires: none of the four is null (asserted).
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSmIs(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );
   // Makes a machine without keeping it.
   Zet::Ptr< UplinkFailureDetectionSm > newUplinkFailureDetectionSm(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );
   // Drops the machine and returns it. The machine works on while the caller holds it. Returns
   // null, and tells nobody, when there is no machine.
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSmDel();

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~Root() override;

 private:
   friend class Notify::NotifyingEntity< Root >;
   // Observers are told in the order in which they registered, even attribute logs.
   static constexpr bool attributeLogGoesFirst = false;

   Zet::Ptr< UplinkFailureDetectionSm > sm_;
   mutable NotifieeList notifiees_;
};

class ZET_EXPORT Root::NotifieeConst
    : public Notify::EntityNotifiee< Root, Zet::Entity::NotifieeConst > {
 public:
   virtual void onUplinkFailureDetectionSm() {}
};

// Returns a new root. The result holds the only reference. Detection ends with the root, so the
// host keeps it. Call configFactory and statusFactory (model/Config.h, model/Status.h) for the
// objects that detection runs on.
[[nodiscard( "detection ends with the root" )]] ZET_EXPORT Zet::Ptr< Root >
rootFactory( Zet::Name name );

} // namespace UplinkFailureDetection

template <> struct Notify::Description< UplinkFailureDetection::Root > {
   using T = UplinkFailureDetection::Root;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "Root";
   static constexpr std::tuple attributes{
      InstantiatingRow< &T::uplinkFailureDetectionSm, &T::uplinkFailureDetectionSmIs,
                        &T::uplinkFailureDetectionSmDel,
                        &T::NotifieeConst::onUplinkFailureDetectionSm >{
          258, "uplinkFailureDetectionSm" },
   };
};
