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
      SimulatedLink const* const link = oracle_.find( name );
      return !link             ? Link::absent
             : !link->adminUp  ? Link::setDown
             : !link->carrier  ? Link::noCarrier
             : link->isDormant ? Link::dormant
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
      bool const isLeftAlone = known.wait() == Ufdd::WaitReason::unproven;
      auto const isUp = [ & ]( std::string const& name ) { return linkOf( name ) == Link::up; };
      return ( isLeftAlone || known.isDown() == oracle_.isDown( group ) ) &&
             ( isLeftAlone ? oracle_.mayBeLeftAlone( group )
                           : known.wait() == Ufdd::WaitReason::nothing ) &&
             ( known.mode() == Ufdd::GroupMode::unproven ) == ( isLeftAlone && !group.dryRun ) &&
             known.upLinks() == std::ranges::count_if( group.monitor, isUp ) &&
             known.allLinks() == group.monitor.size() && known.minLinks() == group.minLinks &&
             known.recoverLinks() == group.recoverLinks &&
             known.neededLinks() == oracle_.needed( group ) &&
             ( known.mode() == Ufdd::GroupMode::dryRun ) == group.dryRun;
   }
   bool isRight( std::string const& name, Ufdd::PortState const& known ) const {
      bool isWanted = false, isWantedByDryRun = false;
      for ( PlainGroup const& group : config_.groups ) {
         if ( !group.disable.contains( name ) )
            continue;
         if ( oracle_.mayBeLeftAlone( group ) )
            return true;
         if ( known.group( group.name ) != oracle_.isDown( group ) )
            return false;
         ( group.dryRun ? isWantedByDryRun : isWanted ) |= oracle_.isDown( group );
      }
      unsigned int ours = 0, open = 0, foughtOver = 0, isProtected = 0, spared = 0;
      Names const links = oracle_.linksOf( name );
      for ( std::string const& link : links ) {
         SimulatedLink const& simulated = *oracle_.find( link );
         ours += isOurs( simulated );
         open += simulated.adminUp && ( !simulated.protoDown || simulated.carrier );
         isProtected += oracle_.isProtected( simulated );
         foughtOver += Oracle::isFoughtOver( simulated );
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
         return isWanted && ours != 0 && open == 0;
      case Port::foreign:
         return isWanted && ours == 0 && open == 0;
      case Port::overridden:
         return isWanted && foughtOver != 0;
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
