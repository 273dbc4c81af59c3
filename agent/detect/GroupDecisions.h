#pragma once

#include "agent/detect/BootHistory.h"
#include "agent/detect/DecisionRemarks.h"
#include "agent/detect/FailureEvidence.h"
#include "agent/detect/GroupDecision.h"
#include "agent/detect/PortReasons.h"
#include "agent/detect/RouteReadiness.h"
#include "agent/orders/Order.h"
#include "host/GroupTransitions.h"
#include "host/PortDecisions.h"
#include "model/Config.h"
#include "model/Status.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"

#include <utility>
#include <vector>

namespace Ufdd {

// Decides whether each group is treated as down, by its delays, the evidence and the orders of
// operators. The library knows nothing of delays, which may differ between groups that share an
// uplink: its statuses tell the state at present. Times are those of Zet::now().
//
// evaluate() decides groups to be down, but none to be up: the message that an uplink is down again
// may be delayed. The host queries uplinksToQuery() first. Then confirmOpenings() decides.
//
// A group that has fallen (was decided to be down) is seen up only with its recover_links:
// moveThresholds() has the library count so. What a delay hides changes nothing of this.
//
// A group is left alone, so that its ports stay as they are, while it is seen down without evidence
// that it has failed.
class GroupDecisions final : private UplinkFailureDetection::GroupTransitions::Listener {
 public:
   GroupDecisions( Zet::Ptr< UplinkFailureDetection::Config > const& config,
                   Zet::Ptr< UplinkFailureDetection::Status > const& status,
                   Zet::Ptr< Interface::EthIntfStatusDir > const& directory, BootHistory& history );

   // Has groups with release_when wait for their routes. Borrows: readiness.
   void readinessIs( RouteReadiness const& readiness ) { readiness_ = &readiness; }
   // In seconds. Has no effect on groups that are evaluated already.
   void startupHoldIs( double seconds ) { evidence_.startupHoldIs( seconds ); }
   // Returns true if the group had another policy or another number. `minLinks` is the number of
   // uplinks that must be up for the group to stay up.
   bool policyIs( Zet::Name const& group, GroupPolicy const& policy, unsigned int minLinks );
   // Takes the group for down, and these of its ports for shut, until it is seen down or was seen
   // up for its recovery_delay.
   // Requires: no status of the group is known yet.
   void assumeDown( Zet::Name const& group, GroupDecision::Ports ports ) {
      groups_[ group ].assumeDown( std::move( ports ) );
   }
   // The same for a group that was latched, which keeps only these ports shut once it is up.
   void assumeLatched( Zet::Name const& group, GroupDecision::Ports ports ) {
      groups_[ group ].assumeLatched( std::move( ports ) );
   }

   // Follows the orders in the book, which may name groups that are configured later.
   void ordersAre( OrderBook const& book );
   // Ends what latches the port, in one group or in all. A group of it that is down shuts it all
   // the same.
   void unlatch( Zet::Name const& group, Kelnet::IntfId port );
   void unlatch( Kelnet::IntfId port );
   // Returns the groups that were seen up again since the last call, and are latched. The host
   // unlatches each port that is not ours: a latch keeps shut, but shuts nothing.
   std::vector< Zet::Name > takeRisen() { return std::exchange( risen_, {} ); }
   // The ports that groups keep shut, or will once they are up, until they are unlatched.
   OrderBook::Latches latches() const;
   // Returns true if these may have changed since the last call.
   bool takeLatchesChanged() { return std::exchange( haveLatchesChanged_, false ); }

   // Decides about the groups whose delay has passed, but decides none to be up.
   void evaluate() { evaluateAll( false ); }
   // Returns true if groups wait for confirmOpenings().
   bool hasOpenings() const { return hasOpenings_; }
   // Returns each uplink that is up and keeps one of the ports open that confirmOpenings() opens.
   std::vector< Kelnet::IntfId > uplinksToQuery() const;
   // Decides the groups to be up that were so at the last evaluate() and still are.
   void confirmOpenings() { evaluateAll( true ); }
   // Sets minLinks in the configuration of each group that was decided to be down, or up, since the
   // last call: to recoverLinks, or back. No group's status changes by this. Call after the acts
   // and before the next message, so that nothing is decided by a wrong number.
   void moveThresholds();
   // When evaluate() has more to do, if no group changes before. Does not count groups that wait
   // for confirmOpenings().
   double nextTime() const;

   // Returns what is decided about the group; nothing about an unknown one. Valid until: the group
   // is gone.
   GroupDecision const& of( Zet::Name const& group ) const;
   PortReasons const& reasons() const { return reasons_; }
   // Calls visit( name ) for each group that evaluate() will look at.
   template < class Visit > void forEachInReview( Visit visit ) const {
      for ( DecidedGroups::iterator const group : inReview_ )
         visit( group->first );
   }
   // As of the last takeChanges().
   bool mustBeShut( Kelnet::IntfId port ) const { return portDecisions_.mustBeShut( port ); }
   // Returns the ports whose decision differs from that of the last call.
   std::vector< UplinkFailureDetection::PortDecisions::Change > takeChanges() {
      return portDecisions_.takeChanges();
   }
   // The remarks about the evaluations since the last call.
   std::vector< DecisionRemarks::Remark > takeRemarks();

 private:
   using GroupConfig = UplinkFailureDetection::GroupConfig;
   using GroupLinkStatus = UplinkFailureDetection::GroupLinkStatus;
   using Place = DecidedGroups::iterator;

   void handleTransition( Zet::Name const& group, GroupLinkStatus before,
                          GroupLinkStatus now ) override;
   void handleGroupGone( Zet::Name const& group ) override;
   // The policy of the group or an order about it has changed.
   void handleStance( Place group, bool wasLatched );
   // Has the next evaluate() look at the group.
   void review( Place group );
   void evaluateAll( bool confirmsOpenings );
   // Returns true if nothing is left to be done about the group.
   bool evaluate( Place group, double now, bool confirmsOpenings );
   // Handles a decision that agrees with what is seen.
   void handleAgreement( Place group, GroupConfig const& config, GroupWait const& before );
   // Reverses a decision that disagrees with what is seen, or has it wait. Returns true if it is
   // reversed.
   bool reverseOrWait( Place group, GroupConfig const& config, GroupWait const& before, double now,
                       bool confirmsOpenings );
   // Returns true if the group is left down, although it is seen up, because routes are missing.
   bool awaitsRoutes( GroupConfig const& config, GroupDecision& decision, double now );
   void reverse( Place group, GroupConfig const& config, double now );
   void moveThreshold( Place group );

   UplinkFailureDetection::Config& config_;
   Interface::EthIntfStatusDir const& directory_;
   BootHistory& history_;
   RouteReadiness const* readiness_ = nullptr;
   FailureEvidence evidence_;
   DecisionRemarks remarks_;
   DecidedGroups groups_;
   std::vector< Place > inReview_;    // Their decision may disagree with what is seen.
   std::vector< Place > decidedDown_; // Since the last takeRemarks().
   std::vector< Place > toMove_;      // For moveThresholds().
   bool haveLatchesChanged_ = true;   // A former ufdd may have recorded others.
   std::vector< Zet::Name > risen_;   // See takeRisen().
   bool hasOpenings_ = false;
   PortReasons reasons_;
   UplinkFailureDetection::PortDecisions portDecisions_;
   UplinkFailureDetection::GroupTransitions transitions_;
};

} // namespace Ufdd
