#pragma once

#include "agent/base/Log.h"
#include "agent/config/GroupSettings.h"
#include "agent/detect/GroupTransitions.h"
#include "model/Config.h"
#include "model/Status.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// What this process makes of the groups' states: which ports are to be held. A port is, while a
// group that disables it is down: since its down_delay, and until it has been up for its
// recovery_delay. The library knows nothing of the delays, which therefore may differ between
// groups that share an uplink: its statuses and cause entries tell what is, a verdict what is
// done about it. Times are those of Zet::now(). A group in dry_run holds nothing.
class Verdicts final : private GroupTransitions::Listener {
 public:
   Verdicts( Zet::Ptr< UplinkFailureDetection::Config > const& config,
             Zet::Ptr< UplinkFailureDetection::Status > const& status, Log& log );

   // Whether it is the one that the group had.
   bool policyIs( Zet::Name const& group, GroupPolicy const& policy );
   // These ports of that group are held, by a former process or perhaps for the sake of others:
   // until the group is seen down, or has been up for its recovery_delay, it is down as far as they
   // go.
   // Requires: no status of the group is known yet.
   void assumeDown( Zet::Name const& group, std::vector< Kelnet::IntfId > ports );
   // To be called after the groups' ports or policies have changed.
   void handleConfigured();

   // Lets the verdicts follow the groups, as far as it is time.
   void evaluate();
   // When evaluate() has more to do, if no group changes before.
   std::optional< double > nextTime() const;

   bool isDryRun( Zet::Name const& group ) const;
   // As of the last evaluate().
   bool isHeld( Kelnet::IntfId port ) const { return holds_.contains( port ); }
   // Of which isHeld() may have changed since it was last asked for.
   std::vector< Kelnet::IntfId > takeChanged() { return std::exchange( changed_, {} ); }

   // How many verdicts there have been, of whatever group.
   unsigned int count() const { return count_; }
   // How many groups are down at present.
   unsigned int downGroups() const { return downGroups_; }

 private:
   struct IntfIdHash {
      std::size_t operator()( Kelnet::IntfId id ) const noexcept { return id.value(); }
   };
   // By how many groups each port is held; absent when by none.
   using Holds = std::unordered_map< Kelnet::IntfId, unsigned int, IntfIdHash >;

   struct Verdict {
      GroupPolicy policy;
      LinkStatus seen = LinkStatus::unknown;
      double since = 0;    // When it was first seen so.
      bool isDown = false; // The verdict.
      // While the group is not seen down: the ports that it holds. What it is given meanwhile, and
      // is open, stays so.
      std::optional< std::vector< Kelnet::IntfId > > only;
      bool isOpen = false;     // Is in open_.
      bool isTold = false;     // That its delay runs.
      double openSince = 0;    // When that delay began.
      unsigned int hidden = 0; // How often what was seen was over before its delay.

      bool holds( Kelnet::IntfId port ) const;
      bool disagrees() const { return seen != LinkStatus::unknown && isDown != sawDown(); }
      bool sawDown() const { return seen == LinkStatus::down; }
      double delay() const { return sawDown() ? policy.downDelay : policy.recoveryDelay; }
      double due() const { return since + delay(); }
   };
   using Groups = std::map< Zet::Name, Verdict >;

   void handleTransition( Zet::Name const& group, LinkStatus before, LinkStatus now ) override;
   void handleGroupGone( Zet::Name const& group ) override;
   void open( Groups::iterator group );
   // It is seen down: it holds all of its ports.
   void holdAll( Zet::Name const& name, Verdict& verdict );
   // Whether nothing is left to be done about the group.
   bool evaluate( Groups::iterator group, double now );
   // The ports of the group that its verdict, being down, holds.
   template < class Action >
   static void forEachPort( UplinkFailureDetection::GroupConfig const& group,
                            Verdict const& verdict, Action action );
   void reverse( Zet::Name const& name, Verdict& verdict );
   void line( Zet::Name const& name, std::string const& text );

   UplinkFailureDetection::Config const& config_;
   Log& log_;
   Groups groups_;
   std::vector< Groups::iterator > open_; // Whose verdict may not be what was seen.
   Holds holds_;
   std::vector< Kelnet::IntfId > changed_;
   unsigned int count_ = 0;
   unsigned int downGroups_ = 0;
   GroupTransitions transitions_;
};

} // namespace Ufdd
