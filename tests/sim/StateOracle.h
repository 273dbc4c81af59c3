#pragma once

#include "agent/state/State.h"
#include "tests/sim/Oracle.h"

#include <algorithm>
#include <string>

namespace Simulation {

// Knows from the links, once nothing has happened for longer than any delay, what the daemon tells
// of them.
class StateOracle {
 public:
   // Borrows: all.
   StateOracle( PlainConfig const& config, Oracle const& oracle, Machine const& machine )
       : config_( config ), oracle_( oracle ), machine_( machine ) {}

   // Returns what is wrong with the state, or nothing.
   std::string complaint( Ufdd::State const& state ) const {
      Names links, ports;
      for ( PlainGroup const& group : config_.groups ) {
         links.insert( group.monitor.begin(), group.monitor.end() );
         ports.insert( group.disable.begin(), group.disable.end() );
         if ( auto const known = state.group( group.name ); !known || !isRight( group, *known ) )
            return "it tells wrongly of group " + group.name;
      }
      links.insert( ports.begin(), ports.end() );
      if ( state.groupMembers().count() != config_.groups.size() ||
           state.linkMembers().count() != links.size() ||
           state.portMembers().count() != ports.size() )
         return "it tells of others than the configuration names";
      for ( std::string const& name : links )
         if ( auto const known = state.link( name );
              !known || !isRight( name, known->condition() ) )
            return "it tells wrongly of link " + name;
      for ( std::string const& name : ports )
         if ( auto const known = state.port( name ); !known || !isRight( name, *known ) )
            return "it tells wrongly of port " + name +
                   ( known ? ": " + std::string( Notify::textOf( known->condition() ).view() )
                           : "" );
      return "";
   }

 private:
   using Link = Ufdd::LinkCondition;
   using Port = Ufdd::PortCondition;

   bool isOurs( SimulatedLink const& link ) const {
      return std::ranges::any_of( machine_.store.links, [ & ]( Ufdd::OwnedLink const& owned ) {
         return owned.index == link.index && !owned.isOverridden;
      } );
   }
   Link linkOf( std::string const& name ) const {
      SimulatedLink const* const link = machine_.find( name );
      return !link                              ? Link::absent
             : !link->adminUp                   ? Link::setDown
             : !link->carrier                   ? Link::noCarrier
             : link->isDormant                  ? Link::dormant
             : machine_.failed.contains( name ) ? Link::failedCheck
                                                : Link::up;
   }
   bool isRight( std::string const& name, Link known ) const {
      bool const isUplink = std::ranges::any_of( config_.groups, [ & ]( PlainGroup const& group ) {
         return group.monitor.contains( name );
      } );
      bool const isUnproven = isUplink && !machine_.kernel.existed.contains( name );
      bool const mayBeUnproven = isUplink && !machine_.proven.contains( name );
      return linkOf( name ) != Link::absent ? known == linkOf( name )
                                            : ( known == Link::absent && !isUnproven ) ||
                                                  ( known == Link::unproven && mayBeUnproven );
   }
   bool isRight( PlainGroup const& group, Ufdd::GroupState const& known ) const {
      using Stance = Oracle::Stance;
      Stance const stance = oracle_.stanceOf( group );
      bool const isLeftAlone = known.wait() == Ufdd::WaitReason::unproven;
      bool const isLatched = known.wait() == Ufdd::WaitReason::latched;
      auto const isUp = [ & ]( std::string const& name ) { return linkOf( name ) == Link::up; };
      return isLatched == ( oracle_.hasLatch( group ) && !oracle_.isDown( group ) ) &&
             ( isLeftAlone || known.isDown() == ( isLatched || oracle_.isDown( group ) ) ) &&
             ( isLeftAlone ? oracle_.mayBeLeftAlone( group )
                           : isLatched || known.wait() == Ufdd::WaitReason::nothing ) &&
             ( known.mode() == Ufdd::GroupMode::unproven ) ==
                 ( isLeftAlone && stance == Stance::acting ) &&
             ( known.mode() == Ufdd::GroupMode::disabled ) == ( stance == Stance::disabled ) &&
             ( known.mode() == Ufdd::GroupMode::orderedDown ) == ( stance == Stance::down ) &&
             known.upLinks() == std::ranges::count_if( group.monitor, isUp ) &&
             known.allLinks() == group.monitor.size() && known.minLinks() == group.minLinks &&
             known.recoverLinks() == group.recoverLinks &&
             known.neededLinks() == oracle_.needed( group ) &&
             ( known.mode() == Ufdd::GroupMode::dryRun ) == ( stance == Stance::dryRun ) &&
             isRight( known, machine_.orders.book.groups );
   }
   template < class Entity >
   static bool isRight( Entity const& known, Ufdd::OrderBook::Orders const& orders ) {
      auto const at = orders.find( known.zetName().view() );
      if ( at == orders.end() )
         return known.order() == Ufdd::OrderKind::none;
      Ufdd::Order const& order = at->second;
      return ( known.order() == Ufdd::OrderKind::down ) ==
                 ( order.kind == Ufdd::OrderKind::down ) &&
             known.order() != Ufdd::OrderKind::none && known.orderTime() == order.since &&
             known.orderEndTime() == ( order.until == Ufdd::never ? 0 : order.until ) &&
             known.orderUid() == order.uid && known.orderReason().view() == order.reason;
   }
   bool isRight( std::string const& name, Ufdd::PortState const& known ) const {
      bool const isOrdered = oracle_.isOrderedDown( name );
      bool isWanted = isOrdered, isWantedByDryRun = false, isOnlyLatched = !isOrdered;
      if ( !isRight( known, machine_.orders.book.ports ) )
         return false;
      for ( PlainGroup const& group : config_.groups ) {
         if ( !group.disable.contains( name ) )
            continue;
         if ( oracle_.mayBeLeftAlone( group ) )
            return true;
         Oracle::Stance const stance = oracle_.stanceOf( group );
         bool const isByDryRun = stance == Oracle::Stance::dryRun && oracle_.isDown( group );
         bool const isByGroup = oracle_.needsShut( group, name );
         if ( known.group( group.name ) !=
              ( stance == Oracle::Stance::down || isByDryRun || isByGroup ) )
            return false;
         isWantedByDryRun |= isByDryRun;
         isWanted |= isByGroup;
         isOnlyLatched &= !isByGroup || !oracle_.isDown( group );
      }
      unsigned int ours = 0, open = 0, overridden = 0, isProtected = 0, spared = 0;
      Names const links = oracle_.linksOf( name );
      for ( std::string const& link : links ) {
         SimulatedLink const& simulated = *machine_.find( link );
         ours += isOurs( simulated );
         open += simulated.adminUp && ( !simulated.protoDown || simulated.carrier );
         isProtected += oracle_.isProtected( simulated );
         overridden += oracle_.mayBeOverridden( simulated );
         spared += !isOurs( simulated ) && oracle_.isSpared( link, simulated );
      }
      if ( ( known.means() != Ufdd::PortMeans::none ) != ( ours != 0 ) )
         return false;
      switch ( known.condition() ) {
      case Port::open:
         return !isWanted && !isWantedByDryRun && ours == 0;
      case Port::dryRun:
         return !isWanted && isWantedByDryRun && ours == 0;
      case Port::absent:
         return isWanted && links.empty();
      case Port::shut:
         return isWanted && !isOrdered && !isOnlyLatched && ours != 0 && open == 0;
      case Port::ordered:
         return isOrdered && ours != 0 && open == 0;
      case Port::latched:
         return isWanted && isOnlyLatched && ours != 0 && open == 0;
      case Port::foreign:
         return isWanted && ours == 0 && open == 0;
      case Port::overridden:
         return isWanted && !isOrdered && overridden != 0;
      case Port::isProtected:
         return isWanted && isProtected != 0;
      case Port::defaultRoute:
         return isWanted && spared != 0;
      default:
         return false;
      }
   }

   PlainConfig const& config_;
   Oracle const& oracle_;
   Machine const& machine_;
};

} // namespace Simulation
