#pragma once

#include "adapters/notify/EntityNotifiee.h"
#include "adapters/notify/LoggedEntity.h"
#include "agent/state/LinkCondition.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"

namespace Ufdd {

// The state of one link that the configuration names, as an uplink or as a port. Its name is the
// one in the configuration, which may be an alternative name of the interface.
class LinkState : public Notify::LoggedEntity< LinkState > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< LinkState >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;

   explicit LinkState( Zet::Name name ) : LoggedEntity( std::move( name ) ) {}

   LinkCondition condition() const noexcept { return condition_; }
   void conditionIs( LinkCondition condition ) {
      attributeIs< &LinkState::condition >( condition_, condition );
   }
   // Since when it has this condition, in seconds of Zet::now(). If the link had it already when
   // ufdd began to watch it, since that moment.
   double since() const noexcept { return since_; }
   void sinceIs( double since ) { attributeIs< &LinkState::since >( since_, since ); }

   // The check that has failed, in words: "check bfd failed: Down, 3 in a row". Empty while none
   // has, or while a failure does not count yet.
   Zet::String8 failure() const { return failure_; }
   void failureIs( Zet::String8 failure ) {
      attributeIs< &LinkState::failure >( failure_, std::move( failure ) );
   }

   // Returns the link's key in its State.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 protected:
   ~LinkState() override { notifiees_.deleteAll(); }

 private:
   friend class Notify::NotifyingEntity< LinkState >;

   LinkCondition condition_ = LinkCondition::absent;
   double since_ = 0;
   Zet::String8 failure_;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< LinkState > zetChainLink;
};

class LinkState::NotifieeConst
    : public Notify::EntityNotifiee< LinkState, Zet::Entity::NotifieeConst > {
 public:
   virtual void onCondition() {}
   virtual void onSince() {}
   virtual void onFailure() {}
};

} // namespace Ufdd

extern template class Notify::LoggedEntity< Ufdd::LinkState >;

template <> struct Notify::Description< Ufdd::LinkState > {
   using T = Ufdd::LinkState;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "LinkState";
   static constexpr std::tuple attributes{
      Scalar< &T::condition, &T::conditionIs, &N::onCondition >{ 258, "condition" },
      Scalar< &T::since, &T::sinceIs, &N::onSince >{ 259, "since" },
      Scalar< &T::failure, &T::failureIs, &N::onFailure >{ 260, "failure" },
   };
};
