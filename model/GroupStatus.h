#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "model/GroupLinkStatus.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"

namespace UplinkFailureDetection {

// The state of one group. Its state machine writes it; observers read it.
class ZET_EXPORT GroupStatus : public Notify::LoggedEntity< GroupStatus > {
 public:
   class _Type;
   class GenericIf_;
   class ZetNboAttrLogSa;
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< GroupStatus >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   explicit GroupStatus( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}
   // Returns a new record: `unknown`, never disabled, no parent.
   [[nodiscard]] static Zet::Ptr< GroupStatus > GroupStatusIs( Zet::Name name );

   GroupLinkStatus groupLinkStatus() const noexcept { return groupLinkStatus_; }
   void groupLinkStatusIs( GroupLinkStatus status );

   // Returns how many times the group went down after its first evaluation. Wraps after 2^32 - 1.
   unsigned int numTimesDisabled() const noexcept { return numTimesDisabled_; }
   void numTimesDisabledIs( unsigned int times );
   // Adds `times` and returns the sum.
   unsigned int numTimesDisabledInc( unsigned int times );

   // Returns when the group last went down after its first evaluation, in seconds of Zet::now(); 0
   // if it never did.
   double prevDisabledTime() const noexcept { return prevDisabledTime_; }
   // Stores the time. A NaN always counts as a change.
   void prevDisabledTimeIs( double const& time );

   // Returns the record's key in its Status.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

   static Zet::Ptr< Zet::ZetType const > _fwkType();

 protected:
   ~GroupStatus() override;

 private:
   friend class Notify::NotifyingEntity< GroupStatus >;

   GroupLinkStatus groupLinkStatus_ = GroupLinkStatus::unknown;
   unsigned int numTimesDisabled_ = 0;
   double prevDisabledTime_ = 0;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< GroupStatus > zetChainLink;
};

class ZET_EXPORT GroupStatus::NotifieeConst
    : public Notify::EntityNotifiee< GroupStatus, Zet::Entity::NotifieeConst > {
 public:
   virtual void onGroupLinkStatus() {}
   virtual void onNumTimesDisabled() {}
   virtual void onPrevDisabledTime() {}
};

} // namespace UplinkFailureDetection

extern template class Notify::LoggedEntity< UplinkFailureDetection::GroupStatus >;

template <> struct Notify::Description< UplinkFailureDetection::GroupStatus > {
   using T = UplinkFailureDetection::GroupStatus;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "UplinkFailureDetection";
   static constexpr std::string_view name = "GroupStatus";
   static constexpr std::tuple attributes{
      Scalar< &T::groupLinkStatus, &T::groupLinkStatusIs, &N::onGroupLinkStatus >{
          258, "groupLinkStatus" },
      Scalar< &T::numTimesDisabled, &T::numTimesDisabledIs, &N::onNumTimesDisabled >{
          259, "numTimesDisabled" },
      Scalar< &T::prevDisabledTime, &T::prevDisabledTimeIs, &N::onPrevDisabledTime >{
          260, "prevDisabledTime" },
   };
};
