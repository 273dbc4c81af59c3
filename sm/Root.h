#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/NotifyingEntity.h"
#include "platform/zet/ListRaw.h"
#include "sm/UplinkFailureDetectionSm.h"

namespace UplinkFailureDetection {

// Where the hosting process starts and stops uplink failure detection. It owns at most one top
// machine and tells its notifiees when that machine is made, replaced or dropped.
class ZET_EXPORT Root : public Notify::NotifyingEntity< Root > {
 public:
   class _Type;
   class GenericIf_;
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< Root >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   explicit Root( Zet::Name name ) : NotifyingEntity( std::move( name ) ) {}

   // Null when detection does not run.
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSm() const { return sm_; }
   // Has detection run on these four, and returns its machine. A machine that runs on the same
   // four stays, and nobody is told; another is replaced once the new one has evaluated every
   // group. What the old one wrote is not undone, only written over.
   // Throws: what making the new machine throws; the old one is then still in place.
   // Requires: none of the four is null, which is asserted.
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSmIs(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );
   // Makes a machine without keeping it.
   Zet::Ptr< UplinkFailureDetectionSm > newUplinkFailureDetectionSm(
       Zet::Ptr< Config const > const& config, Zet::Ptr< Status > const& status,
       Zet::Ptr< Errdisable::CauseStatus > const& causeStatus,
       Zet::Ptr< Interface::EthIntfStatusDir const > const& ethIntfStatusDir );
   // Drops the machine and returns it; it works on while the caller holds it. Null, and nobody
   // told, when there is none.
   Zet::Ptr< UplinkFailureDetectionSm > uplinkFailureDetectionSmDel();

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~Root() override;

 private:
   friend class Notify::NotifyingEntity< Root >;
   // Observers are told in the order in which they came, whatever they are.
   static constexpr bool attributeLogGoesFirst = false;

   Zet::Ptr< UplinkFailureDetectionSm > sm_;
   mutable NotifieeList notifiees_;
};

class ZET_EXPORT Root::NotifieeConst
    : public Notify::EntityNotifiee< Root, Zet::Entity::NotifieeConst > {
 public:
   virtual void onUplinkFailureDetectionSm() {}
};

// A new root, its only reference in the result. Detection ends with the root, so the host keeps it.
// configFactory and statusFactory (model/Config.h, model/Status.h) make what it runs on.
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
