#include "agent/detect/PortReasons.h"

#include "model/GroupConfig.h"

#include <algorithm>

namespace Ufdd {

void
PortReasons::ordersAre( OrderBook::Orders const& ports ) {
   orderedPorts_.clear();
   for ( auto const& [ port, order ] : ports )
      orderedPorts_.emplace( port, order.isForced );
}

void
PortReasons::handleStance( DecidedGroups::const_iterator group ) {
   handleGone( group );
   if ( group->second.stance() == GroupMode::orderedDown )
      orderedGroups_.push_back( group );
}

bool
PortReasons::shuts( UplinkFailureDetection::GroupConfig const& group, Kelnet::IntfId port ) const {
   if ( orderedPorts_.contains( port ) )
      return true;
   auto const at = groups_.find( group.name() );
   return at != groups_.end() && at->second.shuts( port );
}

bool
PortReasons::isLeftAlone( Kelnet::IntfId port ) const {
   // Most often no group is, and ports wait to be shut.
   if ( std::ranges::none_of( inReview_,
                              []( DecidedGroups::iterator group ) {
                                 return group->second.isDown() && !group->second.hasEvidence();
                              } ) ||
        isOrderedDown( port ) )
      return false;
   return std::ranges::none_of( groups_, [ & ]( auto const& entry ) {
      auto const& [ name, decision ] = entry;
      return decision.isDown() && decision.hasEvidence() && lists( name, port ) &&
             decision.shuts( port );
   } );
}

bool
PortReasons::isOrderedDown( Kelnet::IntfId port ) const {
   return orderedPorts_.contains( port ) ||
          std::ranges::any_of( orderedGroups_, [ & ]( DecidedGroups::const_iterator group ) {
             return lists( group->first, port );
          } );
}

bool
PortReasons::isLatched( Kelnet::IntfId port ) const {
   unsigned int latched = 0, others = 0;
   for ( auto const& [ name, decision ] : groups_ )
      if ( lists( name, port ) && decision.shuts( port ) )
         ++( decision.wait().reason == WaitReason::latched ? latched : others );
   return latched > 0 && others == 0 && !isOrderedDown( port );
}

bool
PortReasons::allowsDefaultRoute( Kelnet::IntfId port ) const {
   if ( auto const order = orderedPorts_.find( port );
        order != orderedPorts_.end() && order->second )
      return true;
   return std::ranges::any_of( groups_, [ & ]( auto const& entry ) {
      auto const& [ name, decision ] = entry;
      bool const hasReason = decision.stance() == GroupMode::orderedDown ||
                             ( decision.sawDown() && decision.hasEvidence() );
      return hasReason && decision.allowsDefaultRoute() && lists( name, port ) &&
             decision.shuts( port );
   } );
}

PortReasons::Demand
PortReasons::demandUnder( OrderBook const& book, Kelnet::IntfId port ) const {
   bool const isOrdered = book.ports.contains( port.name().view() );
   Demand demand{ isOrdered, isOrdered };
   for ( auto const& [ name, decision ] : groups_ )
      if ( lists( name, port ) ) {
         GroupMode const stance = decision.policy().mode( book.ofGroup( name.view() ) );
         demand.isShut |= decision.shuts( port, stance );
         demand.isOrderedDown |= stance == GroupMode::orderedDown;
      }
   return demand;
}

} // namespace Ufdd
