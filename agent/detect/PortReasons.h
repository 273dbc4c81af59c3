#pragma once

#include "agent/detect/GroupDecision.h"
#include "agent/orders/Order.h"
#include "host/PortDecisions.h"
#include "model/Config.h"
#include "platform/kelnet/IntfId.h"

#include <unordered_map>
#include <vector>

namespace Ufdd {

// Knows what the decided groups and the orders of operators ask of each port, and why. A port is
// shut while it or a group of it is ordered down, or a group that acts is decided to be down.
class PortReasons final : public UplinkFailureDetection::PortDecisions::Policy {
 public:
   // `inReview` are the groups that may disagree with what is decided.
   PortReasons( UplinkFailureDetection::Config const& config, DecidedGroups const& groups,
                std::vector< DecidedGroups::iterator > const& inReview )
       : config_( config ), groups_( groups ), inReview_( inReview ) {}

   void ordersAre( OrderBook::Orders const& ports );
   // The stance of the group may have changed.
   void handleStance( DecidedGroups::const_iterator group );
   void handleGone( DecidedGroups::const_iterator group ) { std::erase( orderedGroups_, group ); }

   bool shuts( UplinkFailureDetection::GroupConfig const& group,
               Kelnet::IntfId port ) const override;
   // Returns true if each group that needs the port shut is left alone, or is up again and not
   // latched, as of the last evaluation. If the port is shut, it stays so; if not, there is no
   // evidence to shut it.
   bool isLeftAlone( Kelnet::IntfId port ) const;
   // Returns true if the port or one of its groups is ordered down.
   bool isOrderedDown( Kelnet::IntfId port ) const;
   // Returns true if the port must be shut only because groups that are up are latched.
   bool isLatched( Kelnet::IntfId port ) const;
   // Returns true if a group or an order that shuts the port does so even if it carries the default
   // route.
   bool allowsDefaultRoute( Kelnet::IntfId port ) const;

   // What would be asked of a port.
   struct Demand {
      bool isShut = false;
      bool isOrderedDown = false;
      bool operator==( Demand const& ) const = default;
   };
   // Returns what would be asked of the port if these were the orders.
   Demand demandUnder( OrderBook const& book, Kelnet::IntfId port ) const;

 private:
   bool lists( Zet::Name const& group, Kelnet::IntfId port ) const {
      auto const config = config_.group( group );
      return config && config->intfsToDisable( port );
   }

   UplinkFailureDetection::Config const& config_;
   DecidedGroups const& groups_;
   std::vector< DecidedGroups::iterator > const& inReview_;
   // The ports that operators have ordered down, with true if that was forced.
   std::unordered_map< Kelnet::IntfId, bool > orderedPorts_;
   std::vector< DecidedGroups::const_iterator > orderedGroups_; // Those that are ordered down.
};

} // namespace Ufdd
