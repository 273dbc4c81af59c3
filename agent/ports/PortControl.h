#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/DefaultRouteLinks.h"
#include "agent/kernel/LinkControl.h"
#include "agent/ports/OwnedLinkStore.h"
#include "agent/ports/OwnedLinks.h"
#include "agent/ports/PortActs.h"
#include "agent/state/PortCondition.h"
#include "agent/state/PortMeans.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Ufdd {

// Shuts the ports that must be shut, and opens those that need not be any more, if they are ours.
// It acts at the end of a turn of the loop, on the difference: changes that are undone within a
// turn are ignored.
//
// A port is shut by the first means that works: protodown, else administratively down. A LAG is
// shut by its members: shutting the LAG itself is not seen by its neighbours.
class PortControl final : public LinkDirectory::Listener {
 public:
   PortControl( Detector& detector, LinkDirectory const& links,
                DefaultRouteLinks const& defaultRoutes, LinkControl& control, OwnedLinkStore& store,
                Log& log );

   // Sets our bit among the reasons for protodown, for links that are adopted or shut from now on.
   void reasonIs( unsigned int reason ) { reason_ = reason; }
   // A link that has one of these names, or is a member of a LAG that has one, is never shut.
   void protectedAre( std::vector< std::string > const& names );
   // Between these two calls, links that a former process shut are recognised as ours. A link that
   // appears later is ours if it has our mark.
   void beginAdoption() { owned_.beginAdoption(); }
   void endAdoption() { owned_.endAdoption(); }
   // Acts on all changes since the last call.
   void act();
   // Has the next act() look at every port that a group disables.
   void reviewAll();
   // Returns true if something failed; retry() makes the next act() try it again.
   bool hasFailures() const { return acts_.hasFailures() || owned_.hasFailed(); }
   void retry();
   // Returns false while the record of the links that are ours can't be written.
   bool isRecorded() const { return !owned_.hasFailed(); }
   void checkRecord() { owned_.checkRecord(); }
   bool hasUnreadRecord() const { return owned_.hasUnreadRecord(); }
   // Returns true if the link is ours and was set administratively down.
   bool wasSetDown( std::uint32_t index ) const;
   // See OwnedLinks.
   bool wasFoundOpen( std::uint32_t index ) const { return owned_.wasFoundOpen( index ); }
   // Returns true if a link of the port is ours or overridden.
   bool isOursOrOverridden( Kelnet::IntfId port );
   // The results of act() and openAll() since the last call.
   std::vector< PortResult > takeResults() { return acts_.takeResults(); }
   // The number of links that are ours.
   std::size_t count() const { return owned_.count(); }
   // Overrides the links of these ports, so that the next act() opens them: they stay open until
   // their groups are up, unless they are ordered down. Records that first. Returns an errno value;
   // unless that is 0, nothing has changed.
   int clear( std::span< Kelnet::IntfId const > ports );
   // Where overrides are recorded, for the log.
   std::string recordPlace() const { return owned_.place(); }
   // Returns true if act() would shut an open link of the port, were the port ordered down
   // (`isOrdered`) or else wanted shut by its groups.
   bool wouldShut( Kelnet::IntfId port, bool isOrdered, bool isForced );
   bool exists( Kelnet::IntfId port );
   bool isProtected( Kelnet::IntfId port );
   bool carriesDefaultRoute( Kelnet::IntfId port );
   // Returns true if a link of the port is ours.
   bool isOurs( Kelnet::IntfId port );
   // Opens every port that we shut, whatever the groups need, and forgets the overrides. Returns
   // false when one couldn't be opened.
   bool openAll();
   // What has come of the decision about a port.
   struct View {
      PortCondition condition;
      PortMeans means;
   };
   // Returns that of the port, as of the last act(). Knows nothing of dry runs: `open` then.
   View viewOf( Kelnet::IntfId port );
   // Returns the ports that act() has looked at since the last call, each at least once.
   std::vector< Kelnet::IntfId > takeReviewed() { return std::exchange( reviewed_, {} ); }

   void handleNew( Link const& link ) override { owned_.adopt( link, reason_ ); }
   void handleLink( Link const& link ) override;
   void handleRenamed( std::uint32_t index, InterfaceName const& name ) override;
   void handleMoved( std::uint32_t index ) override { owned_.handleMoved( index ); }
   void handleGone( std::uint32_t index ) override {
      acts_.handleGone( index );
      spared_.erase( index );
   }

 private:
   // What decides about a link whose port must be shut: the first of these that applies, but for
   // the last.
   enum class Rule {
      isProtected, // It is never shut.
      ordered,     // It is shut, however often others open it.
      overridden,  // It is open until the groups of its port are up.
      leftAlone,   // It stays as it is.
      groups,      // It is shut.
      defaultRoute // The rule would be `ordered` or `groups`, but it carries the default route: it
                   // stays open if it is open.
   };
   // `isOrdered`: its port is ordered down. `isForced`: it is shut even if it carries the default
   // route.
   Rule ruleFor( Link const& link, Kelnet::IntfId port, bool isOrdered, bool isForced ) const;
   Rule ruleFor( Link const& link, Kelnet::IntfId port ) const;
   // Returns why the link is left as it is by that rule; or nothing, also if it is ours or was set
   // down by somebody.
   std::optional< PortResult::Kind > whySpared( Link const& link, Rule rule ) const;
   // Leaves the link as it is. It is no longer ours if somebody has opened it.
   void spare( Link const& link, Kelnet::IntfId port, PortResult::Kind why );
   // Shuts the links of the port, or leaves them as they are.
   void shut( Kelnet::IntfId port );
   // Has act() look again at ports that were spared and no longer are.
   void reviewSpared();
   // Has the next act() look at the port.
   void review( Kelnet::IntfId port );
   // The port that the link stands for: one that must be shut, else any that it belongs to, else
   // its own name if it is ours, else empty.
   Kelnet::IntfId portOf( Link const& link ) const;
   bool isProtected( Link const& link ) const;
   PortCondition conditionOf( Link const& link, Kelnet::IntfId port ) const;
   // Fills linksOfPort_ with the links that are shut when the port is.
   void collectLinks( Kelnet::IntfId port );

   Detector& detector_;
   LinkDirectory const& links_;
   DefaultRouteLinks const& defaultRoutes_;
   unsigned int reason_ = Link::usualReason;
   std::set< std::string, std::less<> > protected_; // Names.

   OwnedLinks owned_;
   PortActs acts_;
   std::vector< Kelnet::IntfId > changed_; // Ports to review in act(), each once.
   std::unordered_set< Kelnet::IntfId > changedSet_;
   std::map< std::uint32_t, PortResult::Kind > spared_; // Why links are not shut, by index.
   std::vector< Kelnet::IntfId > reviewed_;             // See takeReviewed().
   std::vector< Link > linksOfPort_;                    // See collectLinks().
};

} // namespace Ufdd
