#pragma once

#include "adapters/notify/ValueCollection.h"
#include "agent/state/OrderedState.h"
#include "agent/state/PortCondition.h"
#include "agent/state/PortMeans.h"
#include "platform/zet/HashMap.h"
#include "platform/zet/ListRaw.h"

namespace Ufdd {

// What ufdd does about one port that groups disable. Its name is the one in the configuration. The
// LinkState of the same name says whether the link is up.
class PortState : public OrderedState< PortState > {
 public:
   class NotifieeConst;
   using Notifiee = Notify::WritingNotifiee< PortState >;
   using NotifieeList = Zet::ListRaw< NotifieeConst >;
   using ZetGroup = Notify::ValueMember< Zet::Name, bool, struct PortGroupTag >;

   explicit PortState( Zet::Name name ) : OrderedState( std::move( name ) ) {}

   PortCondition condition() const noexcept { return condition_; }
   void conditionIs( PortCondition condition ) {
      attributeIs< &PortState::condition >( condition_, condition );
   }
   // `none` unless the port or, of a LAG, any member is ours.
   PortMeans means() const noexcept { return means_; }
   void meansIs( PortMeans means ) { attributeIs< &PortState::means >( means_, means ); }
   // Since when it has this condition, in seconds of Zet::now(). For a port that a former ufdd
   // shut, the time at which this one took it over.
   double since() const noexcept { return since_; }
   void sinceIs( double since ) { attributeIs< &PortState::since >( since_, since ); }
   // Why the last act on it failed, in words; empty once it is done, or needless.
   Zet::String8 failure() const { return failure_; }
   void failureIs( Zet::String8 failure ) {
      attributeIs< &PortState::failure >( failure_, std::move( failure ) );
   }

   // The groups that disable the port, by name. The value is true while the group wants the port
   // shut, by what has been decided after its delays; a group in dry run included. Returns false
   // for a group that does not disable the port.
   bool group( Zet::Name group ) const { return group_.value( group ); }
   void groupIs( Zet::Name group, bool wantsShut ) { group_.valueIs( *this, group, wantsShut ); }
   bool groupDel( Zet::Name group ) { return group_.valueDel( *this, group ); }
   void groupNotify( Zet::Name group, Zet::Ptr< ZetGroup > const& ) {
      notify< &PortState::group >( group );
   }
   using Groups = Notify::ValueCollection< &PortState::groupNotify >;
   Groups::Members const& groupMembers() const { return group_.members(); }

   // Returns the port's key in its State.
   Zet::Name const& zetKey() const noexcept { return zetName(); }

 protected:
   ~PortState() override { notifiees_.deleteAll(); }

 private:
   friend class Notify::NotifyingEntity< PortState >;

   PortCondition condition_ = PortCondition::open;
   PortMeans means_ = PortMeans::none;
   double since_ = 0;
   Zet::String8 failure_;
   Groups group_;
   mutable NotifieeList notifiees_;

 public:
   Zet::ChainLink< PortState > zetChainLink;
};

class PortState::NotifieeConst : public OrderedNotifiee< PortState, Zet::Name > {
 public:
   virtual void onCondition() {}
   virtual void onMeans() {}
   virtual void onSince() {}
   virtual void onFailure() {}
   virtual void onGroup( Zet::Name ) {}
};

} // namespace Ufdd

extern template class Notify::LoggedEntity< Ufdd::PortState >;

template <> struct Notify::Description< Ufdd::PortState > {
   using T = Ufdd::PortState;
   using N = T::NotifieeConst;
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "PortState";
   static constexpr auto attributes = std::tuple_cat(
       std::tuple{
           Scalar< &T::condition, &T::conditionIs, &N::onCondition >{ 258, "condition" },
           Scalar< &T::means, &T::meansIs, &N::onMeans >{ 259, "means" },
           Scalar< &T::since, &T::sinceIs, &N::onSince >{ 260, "since" },
           Scalar< &T::failure, &T::failureIs, &N::onFailure >{ 261, "failure" },
           ValueCollectionRow< &T::group, &T::groupMembers, &T::groupIs, &T::groupDel,
                               &N::onGroup >{ 262, "group" },
       },
       Ufdd::orderRows< T >( 263 ) );
};
