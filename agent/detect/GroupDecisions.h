#pragma once

#include "agent/base/Log.h"
#include "agent/config/GroupSettings.h"
#include "agent/detect/BootHistory.h"
#include "agent/detect/GroupWait.h"
#include "agent/detect/RecoveryDelay.h"
#include "agent/detect/RouteReadiness.h"
#include "agent/orders/Order.h"
#include "host/GroupTransitions.h"
#include "host/PortDecisions.h"
#include "model/Config.h"
#include "model/Status.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Ufdd {

// Decides whether each group is treated as down, by its delays. A group is decided to be down once
// it was seen down for its down_delay, and to be up once it was seen up for its recovery_delay. The
// library knows nothing of delays, which may differ between groups that share an uplink: its
// statuses tell the state at present. A group in dry_run shuts nothing. Times are those of
// Zet::now().
//
// Orders of operators come first: a port is shut while it or a group of it is ordered down, and a
// group that is disabled shuts nothing. A group without auto_recover that was decided to be down is
// latched: once up, it stays decided to be down until its ports are cleared.
//
// evaluate() decides groups to be down, but none to be up: the news that an uplink is down again
// may be held back. The host queries uplinksToQuery() first. Then confirmOpenings() decides.
//
// A group that was decided to be down is seen up only with its recover_links: moveThresholds() has
// the library count so. What a delay hides changes nothing of this.
//
// A group is left alone, so that its ports stay as they are, while it is seen down without evidence
// that it has failed: it would be up if its unproven uplinks were, which have not existed since the
// machine booted; or startup_hold has not passed since the first ufdd of this boot started, and the
// group was not up yet. An uplink that has existed and is gone is down like any other.
class GroupDecisions final : private UplinkFailureDetection::GroupTransitions::Listener,
                             private UplinkFailureDetection::PortDecisions::Policy {
 public:
   GroupDecisions( Zet::Ptr< UplinkFailureDetection::Config > const& config,
                   Zet::Ptr< UplinkFailureDetection::Status > const& status,
                   Zet::Ptr< Interface::EthIntfStatusDir > const& directory, BootHistory& history );

   // Has groups with release_when wait for their routes. Borrows: readiness.
   void readinessIs( RouteReadiness const& readiness ) { readiness_ = &readiness; }
   // In seconds. Has no effect on groups that are evaluated already.
   void startupHoldIs( double seconds ) { startupHold_ = seconds; }
   // Returns true if the group had another policy or another number. `minLinks` is the number of
   // uplinks that must be up for the group to stay up.
   bool policyIs( Zet::Name const& group, GroupPolicy const& policy, unsigned int minLinks );
   // Takes the group for down, and these of its ports for shut, until it is seen down or was seen
   // up for its recovery_delay.
   // Requires: no status of the group is known yet.
   void assumeDown( Zet::Name const& group, std::vector< Kelnet::IntfId > ports );
   // The same for a group that was latched, which keeps only these ports shut once it is up.
   void assumeLatched( Zet::Name const& group, std::vector< Kelnet::IntfId > ports );

   // Follows the orders in the book, which may name groups that are configured later.
   void ordersAre( OrderBook const& book );
   // Returns true if the port would have to be shut if these were the orders.
   bool wouldBeShut( Kelnet::IntfId port, OrderBook const& book ) const;
   // Returns true if the port would be ordered down then.
   bool wouldBeOrderedDown( Kelnet::IntfId port, OrderBook const& book ) const;
   // Ends what latches the port, in one group or in all. A group of it that is down shuts it all
   // the same.
   void clearLatch( Zet::Name const& group, Kelnet::IntfId port );
   void clearLatches( Kelnet::IntfId port );
   // Returns the groups that were seen up again since the last call, and are latched. The host
   // clears the latch of each port that it does not hold shut: a latch keeps shut, but shuts
   // nothing.
   std::vector< Zet::Name > takeRisen() { return std::exchange( risen_, {} ); }
   // The ports that groups keep shut, or will once they are up, until they are cleared.
   OrderBook::Latches latches() const;
   // Returns true if these may have changed since the last call.
   bool takeLatchesChanged() { return std::exchange( haveLatchesChanged_, false ); }

   // Decides about the groups whose delay has passed, but decides none to be up.
   void evaluate();
   // Returns true if groups wait for confirmOpenings().
   bool hasOpenings() const { return hasOpenings_; }
   // Returns each uplink that is up and keeps one of the ports open that confirmOpenings() opens.
   std::vector< Kelnet::IntfId > uplinksToQuery() const;
   // Decides the groups to be up that were so at the last evaluate() and still are.
   void confirmOpenings();
   // Sets minLinks in the configuration of each group that was decided to be down, or up, since the
   // last call: to recoverLinks, or back. No group's status changes by this. Call after the acts
   // and before the next message, so that nothing is decided by a wrong number.
   void moveThresholds();
   // When evaluate() has more to do, if no group changes before; never for never. Does
   // not count groups that wait for confirmOpenings().
   double nextTime() const;
   // Returns why the group's ports are left as they are, as of the last evaluation.
   GroupWait waitOf( Zet::Name const& group ) const;

   // Returns true if each group that needs the port shut is left alone, or is up again, as of the
   // last evaluation: what is shut stays so, but there is no evidence to shut more.
   bool isLeftAlone( Kelnet::IntfId port ) const;
   // Returns true if the port or one of its groups is ordered down.
   bool isOrderedDown( Kelnet::IntfId port ) const;
   // Returns true if the port must be shut only because groups that are up are latched.
   bool isLatched( Kelnet::IntfId port ) const;
   GroupMode stanceOf( Zet::Name const& group ) const;
   // Returns null for an unknown group.
   GroupPolicy const* policyOf( Zet::Name const& group ) const;
   bool isDryRun( Zet::Name const& group ) const { return stanceOf( group ) == GroupMode::dryRun; }
   // Returns true if a group or an order that shuts the port does so even if it carries the default
   // route.
   bool allowsDefaultRoute( Kelnet::IntfId port ) const;
   // Returns true if the group is decided to be down.
   bool isDown( Zet::Name const& group ) const;
   // Returns true if the group shuts the port, or would but for dry_run.
   bool wantsShut( Zet::Name const& group, Kelnet::IntfId port ) const;
   // When the group was first seen as it is now; 0 for an unknown group.
   double sinceOf( Zet::Name const& group ) const;
   // The group's delays at present.
   struct Delays {
      double down = 0;     // In seconds.
      double recovery = 0; // In seconds.
   };
   Delays delaysOf( Zet::Name const& group ) const;
   // How many uplinks must be up.
   struct Thresholds {
      unsigned int stay = 0;    // For the group to stay up.
      unsigned int recover = 0; // For the group to be up again, at least `stay`.
      // For the group to be up as it is now.
      unsigned int now = 0;
   };
   Thresholds thresholdsOf( Zet::Name const& group ) const;
   // Calls visit( name ) for each group that evaluate() will look at.
   template < class Visit > void forEachInReview( Visit visit ) const {
      for ( Groups::iterator const group : inReview_ )
         visit( group->first );
   }
   // As of the last takeChanges().
   bool mustBeShut( Kelnet::IntfId port ) const { return portDecisions_.mustBeShut( port ); }
   // Returns the ports whose decision differs from that of the last call.
   std::vector< UplinkFailureDetection::PortDecisions::Change > takeChanges() {
      return portDecisions_.takeChanges();
   }

   // A line for the log about a decision that is put off, that is only told of, or that can't be
   // carried out.
   struct Remark {
      Zet::Name group;
      std::string text;
      LogEvent::Id id = LogEvent::groupDecision;
      std::vector< Kelnet::IntfId > unproven = {}; // The names that may be mistyped.
   };
   // The remarks about the evaluations since the last call.
   std::vector< Remark > takeRemarks();

 private:
   using LinkStatus = UplinkFailureDetection::GroupLinkStatus;

   struct Decision {
      GroupPolicy policy;
      unsigned int minLinks = 0; // As configured.
      // It was decided to be down, and not to be up since: it needs recoverLinks to be up.
      bool mustRecover = false;
      OrderKind order = OrderKind::none; // Of an operator.
      bool isForced = false;             // That order's.
      GroupMode stance = GroupMode::acting;
      bool isLatched = false;
      // While it is latched and not seen up: the ports that it won't keep shut once it is up.
      std::vector< Kelnet::IntfId > cleared;
      RecoveryDelay recoveryDelay;
      LinkStatus seen = LinkStatus::unknown;
      double since = 0;    // When it was first seen so.
      bool isDown = false; // Decided.
      // While the group is not seen down: the ports that it shuts. Ports added to the group
      // meanwhile are left as they are.
      std::optional< std::vector< Kelnet::IntfId > > only;
      bool isInReview = false; // It is in inReview_.
      GroupWait wait;          // Empty unless it is in review.
      bool isOpening = false;  // It waits for confirmOpenings().
      bool isTold = false;     // The log says that its delay runs.
      double reviewSince = 0;  // When that delay began.
      // The `since` for which the log says that it waits for routes, and that it waits no longer.
      double toldAwaiting = -1;
      double toldTimeout = -1;
      unsigned int hidden = 0; // Number of changes that were undone before their delay ran out.

      // Returns true if it applies to that port of the group.
      bool covers( Kelnet::IntfId port ) const;
      // Returns true if it shuts that port of the group, if its stance is that one.
      bool shuts( Kelnet::IntfId port, GroupMode as ) const {
         return as == GroupMode::orderedDown ||
                ( as == GroupMode::acting && isDown && covers( port ) );
      }
      bool shuts( Kelnet::IntfId port ) const { return shuts( port, stance ); }
      // Returns true if it stays decided to be down once it is up.
      bool latches() const {
         return !policy.autoRecover &&
                ( stance == GroupMode::acting || stance == GroupMode::orderedDown );
      }
      // Returns true if its latch alone keeps it decided to be down.
      bool isHeldByLatch() const { return wait.reason == WaitReason::latched; }
      bool disagrees() const { return seen != LinkStatus::unknown && isDown != sawDown(); }
      bool sawDown() const { return seen == LinkStatus::down; }
      // As of the last evaluation.
      bool isLeftAlone() const {
         return wait.reason == WaitReason::unproven || wait.reason == WaitReason::startupHold;
      }
      // Returns true if it may shut more ports, not only keep shut what is shut: it is seen down
      // and not left alone, or latched.
      bool hasEvidence() const { return sawDown() ? !isLeftAlone() : isHeldByLatch(); }
      unsigned int recoverLinks() const { return std::max( minLinks, policy.recoverLinks ); }
      bool hasHysteresis() const { return recoverLinks() > minLinks; }
      double delay() const { return sawDown() ? policy.downDelay : recoveryDelay.seconds(); }
      double due() const { return since + delay(); }
   };
   using Groups = std::map< Zet::Name, Decision >;
   // Numbers of one group's uplinks.
   struct Uplinks {
      unsigned int up = 0;
      unsigned int unproven = 0;
   };

   bool shuts( UplinkFailureDetection::GroupConfig const& group,
               Kelnet::IntfId port ) const override;
   void handleTransition( Zet::Name const& group, LinkStatus before, LinkStatus now ) override;
   void handleGroupGone( Zet::Name const& group ) override;
   // Calls visit( decision ) for each group that disables the port.
   template < class Visit > void forEachGroupOf( Kelnet::IntfId port, Visit visit ) const;
   // Returns the stance of the group if these were the orders.
   GroupMode stanceUnder( OrderBook const& book, Zet::Name const& name,
                          Decision const& decision ) const;
   // The policy of the group or an order about it has changed.
   void handleStance( Groups::iterator group );
   void updateLatch( Decision& decision );
   // Returns true if a port of the group is kept shut while the group is up.
   bool keepsAny( Zet::Name const& name, Decision const& decision ) const;
   // Has the next evaluate() look at the group.
   void review( Groups::iterator group );
   void evaluateAll( bool confirmsOpenings );
   // Returns true if nothing is left to be done about the group.
   bool evaluate( Groups::iterator group, double now, bool confirmsOpenings );
   Uplinks uplinksOf( Zet::Name const& name ) const;
   // Returns why the group is left alone, if it is.
   GroupWait holdOf( Zet::Name const& name, Decision const& decision, Uplinks const& uplinks,
                     double now ) const;
   void leaveAlone( Zet::Name const& name, Decision& decision, WaitReason before );
   void tellUnproven( Zet::Name const& name );
   void tellAbsentPorts( Zet::Name const& name );
   // Returns true if the group is left down, although it is seen up, because routes are missing.
   bool awaitsRoutes( Zet::Name const& name, Decision& decision, double now );
   // The decision agrees with what is seen.
   void settle( Groups::iterator group, bool wasTold );
   void tellDelay( Zet::Name const& name, Decision& decision, double now, bool wasTold );
   void reverse( Groups::iterator group, double now );
   // Call when the decision agrees with what is seen.
   void noteThreshold( Groups::iterator group );
   // " d1 d2": the ports that the decision applies to.
   std::string portsText( Zet::Name const& name, Decision const& decision ) const;

   UplinkFailureDetection::Config& config_;
   RouteReadiness const* readiness_ = nullptr;
   Interface::EthIntfStatusDir const& directory_;
   BootHistory& history_;
   double startupHold_ = 0;
   Groups groups_;
   std::vector< Groups::iterator > inReview_; // Their decision may disagree with what is seen.
   std::vector< Groups::iterator > fallen_;   // Decided to be down since the last takeRemarks().
   std::vector< Groups::iterator > toMove_;   // For moveThresholds().
   std::vector< Remark > remarks_;
   // The ports that operators have ordered down, with true if that was forced.
   std::unordered_map< Kelnet::IntfId, bool > orderedPorts_;
   unsigned int groupsOrderedDown_ = 0;
   bool haveLatchesChanged_ = true; // A former ufdd may have recorded others.
   std::vector< Zet::Name > risen_; // See takeRisen().
   bool hasOpenings_ = false;
   UplinkFailureDetection::PortDecisions portDecisions_;
   UplinkFailureDetection::GroupTransitions transitions_;
};

} // namespace Ufdd
