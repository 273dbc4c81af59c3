#pragma once

#include "agent/config/GroupSettings.h"
#include "agent/detect/GroupWait.h"
#include "agent/detect/RecoveryDelay.h"
#include "agent/state/GroupMode.h"
#include "agent/state/OrderKind.h"
#include "model/GroupConfig.h"
#include "model/GroupLinkStatus.h"
#include "platform/kelnet/IntfId.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace Ufdd {

// Whether one group is treated as down, and which of its ports it shuts. It knows what the group's
// status was seen to be. Its owner tells it when to change the decision. Times are those of
// Zet::now(), in seconds.
//
// An order of an operator wins over the policy. The policy or the order may have the group shut all
// of its ports or none, whatever was decided.
//
// A group without auto_recover that was decided to be down is latched: once up, it stays decided to
// be down until its ports are unlatched. Only an evaluation begins a latch, since it knows whether
// there is evidence.
class GroupDecision {
 public:
   using GroupLinkStatus = UplinkFailureDetection::GroupLinkStatus;
   using Ports = std::vector< Kelnet::IntfId >;

   // Returns true if the group had another policy or another number.
   bool policyIs( GroupPolicy const& policy, unsigned int minLinks );
   GroupPolicy const& policy() const { return policy_; }
   void orderIs( OrderKind order, bool isForced );
   // Returns what the group does by policy and order, apart from the state of its uplinks: neither
   // `startupHold` nor `unproven`.
   GroupMode stance() const { return stance_; }
   // Returns the stance; or why a group that would act is left alone.
   GroupMode mode() const;
   // Returns true if the group shuts a port even if that carries the default route.
   bool allowsDefaultRoute() const { return policy_.allowDefaultRoute || isForced_; }

   // Takes the group for down, and these of its ports for shut. Requires: it was not seen yet.
   void assumeDown( Ports ports );
   // The same for a group that was latched.
   void assumeLatched( Ports ports );
   // The group is seen so from now on. Returns true if unlatched ports need not be shut any more.
   bool seenIs( GroupLinkStatus seen, UplinkFailureDetection::GroupConfig const* group );
   GroupLinkStatus seen() const { return seen_; }
   bool sawDown() const { return seen_ == GroupLinkStatus::down; }
   // When it was first seen so; 0 before.
   double since() const { return since_; }

   bool isDown() const { return isDown_; }
   // Returns true if the decision is another one than what is seen.
   bool disagrees() const { return seen_ != GroupLinkStatus::unknown && isDown_ != sawDown(); }
   // When the decision is to change if it disagrees.
   double due() const {
      return since_ + ( sawDown() ? policy_.downDelay : recoveryDelay_.seconds() );
   }
   // Changes the decision.
   void reverse( double now );
   // Call when the group was evaluated, and the decision agrees with what is seen. Returns true if
   // the group shuts more ports, since it is seen down.
   bool handleAgreement();
   bool coversAll() const { return !only_; }
   void coverOnly( Ports ports ) { only_ = std::move( ports ); }
   // Returns true if the decision applies to that port of the group.
   bool covers( Kelnet::IntfId port ) const {
      return !only_ || std::ranges::find( *only_, port ) != only_->end();
   }

   // Begins an evaluation of a group that is `leftAlone`, or is not. Returns the wait before.
   GroupWait beginEvaluation( GroupWait const& leftAlone, double now );
   void waitIs( GroupWait const& wait ) { wait_ = wait; }
   // Empty unless it is in review.
   GroupWait const& wait() const { return wait_; }
   // Returns true if it may shut more ports, not only keep shut what is shut: it is seen down
   // and not left alone, or latched.
   bool hasEvidence() const {
      return sawDown() ? !wait_.isLeftAlone() : wait_.reason == WaitReason::latched;
   }
   // From then on its owner evaluates it in each turn. Returns false if it did so before.
   bool enterReview() { return !std::exchange( isInReview_, true ); }
   void leaveReview() { isInReview_ = false; }

   bool isLatched() const { return isLatched_; }
   // Returns true if the latch keeps the port shut once the group is up.
   bool latches( Kelnet::IntfId port ) const;
   // Has the latch not keep the port shut. Returns true if it keeps none shut any more, although
   // the group is up.
   bool unlatch( Kelnet::IntfId port );
   // Returns true if the latch of a group that is up keeps a port shut. Else ends it.
   bool staysLatched( UplinkFailureDetection::GroupConfig const& group );

   // Returns true if it shuts that port of the group.
   bool shuts( Kelnet::IntfId port ) const { return shuts( port, stance_ ); }
   // Returns true if it would, if that were its stance.
   bool shuts( Kelnet::IntfId port, GroupMode stance ) const {
      return stance == GroupMode::orderedDown ||
             ( stance == GroupMode::acting && isDown_ && covers( port ) );
   }
   // Returns true if it shuts the port, or would but for dry_run.
   bool wantsShut( Kelnet::IntfId port ) const {
      return shuts( port, stance_ == GroupMode::dryRun ? GroupMode::acting : stance_ );
   }

   RecoveryDelay const& recoveryDelay() const { return recoveryDelay_; }
   // How many uplinks must be up.
   struct Thresholds {
      unsigned int stay = 0;    // For the group to stay up.
      unsigned int recover = 0; // For the group to be up again, at least `stay`.
      unsigned int now = 0;     // For the group to be up as it is now.
   };
   Thresholds thresholds() const;
   // Returns true if the group was decided to be down, and not to be up since: it has to recover.
   bool hasFallen() const { return hasFallen_; }
   void setFallen() { hasFallen_ = true; }
   // Makes hasFallen() agree with the decision. Returns true if this moves the threshold.
   bool moveThreshold();

 private:
   void updateStance();
   bool mayLatch() const {
      return !policy_.autoRecover &&
             ( stance_ == GroupMode::acting || stance_ == GroupMode::orderedDown );
   }
   void beginLatch();
   void endLatch();

   GroupPolicy policy_;
   unsigned int minLinks_ = 0; // As configured.
   OrderKind order_ = OrderKind::none;
   bool isForced_ = false; // The order is.
   GroupMode stance_ = GroupMode::acting;
   GroupLinkStatus seen_ = GroupLinkStatus::unknown;
   double since_ = 0;
   bool isDown_ = false;
   bool hasFallen_ = false;
   RecoveryDelay recoveryDelay_;
   // While the group is not seen down: the ports that it shuts. Ports added to the group meanwhile
   // are left as they are.
   std::optional< Ports > only_;
   bool isLatched_ = false;
   // While it is latched and not seen up: the ports that it won't keep shut once it is up.
   Ports unlatched_;
   GroupWait wait_;
   bool isInReview_ = false;
};

using DecidedGroups = std::map< Zet::Name, GroupDecision >;

} // namespace Ufdd
