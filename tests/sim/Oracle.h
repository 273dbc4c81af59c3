#pragma once

#include "agent/ports/PortControl.h"
#include "platform/zet/Clock.h"
#include "tests/sim/Machine.h"
#include "tests/sim/PlainConfig.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Simulation {

using Ufdd::SimulatedLink;

// Knows from the links which of them must be shut once nothing has happened for a while.
class Oracle {
 public:
   Oracle( PlainConfig const& config, Machine& machine ) : config_( config ), machine_( machine ) {}

   // The links have been as they are now for `seconds`. Before that, the groups `downBefore` were
   // down for longer than any delay, and `leftAloneBefore` may have been left alone.
   void changed( double seconds, Names downBefore, Names leftAloneBefore ) {
      since_ = seconds;
      downBefore_ = std::move( downBefore );
      leftAloneBefore_ = std::move( leftAloneBefore );
   }

   // Returns the number of uplinks that the group needs to be up.
   unsigned int needed( PlainGroup const& group ) const {
      return machine_.fallen.contains( group.name ) ? group.recoverLinks : group.minLinks;
   }
   bool isDown( PlainGroup const& group ) const { return upOf( group ) < needed( group ); }

   Names downGroups() const { return groupsIf( &Oracle::isDown ); }
   // The groups that may be left alone.
   Names leftAlone() const { return groupsIf( &Oracle::mayBeLeftAlone ); }

   enum class Stance { acting, disabled, down, dryRun };
   // Returns what operators have ordered about the group, or else what the configuration says.
   Stance stanceOf( PlainGroup const& group ) const {
      if ( Ufdd::Order const* const order = standing( machine_.orders.book.groups, group.name ) )
         return order->kind == Ufdd::OrderKind::disable ? Stance::disabled : Stance::down;
      return !group.enabled    ? Stance::disabled
             : group.dryRun    ? Stance::dryRun
             : group.forceDown ? Stance::down
                               : Stance::acting;
   }
   bool isOrderedDown( std::string const& port ) const {
      return standing( machine_.orders.book.ports, port ) ||
             std::ranges::any_of( config_.groups, [ & ]( PlainGroup const& group ) {
                return group.disable.contains( port ) && stanceOf( group ) == Stance::down;
             } );
   }
   // Returns true if the group, once up, keeps the port shut until it is cleared.
   bool isLatched( PlainGroup const& group, std::string const& port ) const {
      return !group.autoRecover && machine_.orders.book.latches.contains( { group.name, port } );
   }
   bool hasLatch( PlainGroup const& group ) const {
      return std::ranges::any_of(
          group.disable, [ & ]( std::string const& port ) { return isLatched( group, port ); } );
   }
   // Returns true if the daemon may leave the link open until its groups are up.
   bool mayBeOverridden( SimulatedLink const& link ) const {
      return isFoughtOver( link ) ||
             ( isInOverrides( link ) && machine_.cleared.contains( link.index ) );
   }
   bool isInOverrides( Ufdd::Link const& link ) const {
      return std::ranges::count( machine_.store.overrides, link.index, &Ufdd::OwnedLink::index ) >
             0;
   }
   // Returns the links that belong to ports for which is( port ) returns true.
   template < class Predicate > Names linksIf( Predicate is ) const {
      Names names;
      for ( PlainGroup const& group : config_.groups )
         for ( std::string const& port : group.disable )
            if ( is( group, port ) )
               names.merge( linksOf( port ) );
      return names;
   }
   Names orderedLinks() const {
      return linksIf( [ this ]( auto const&, auto const& port ) { return isOrderedDown( port ); } );
   }

   // Returns what is wrong with the links, or nothing.
   std::string complaint() const {
      Names ordered = orderedLinks();
      Names wanted = linksIf( [ this ]( PlainGroup const& group, std::string const& port ) {
         return !mayHaveBeenLeftAlone( group ) && needsShut( group, port );
      } );
      Names const leftAlone = linksIf( [ this ]( PlainGroup const& group, std::string const& ) {
         return mayHaveBeenLeftAlone( group ) && stanceOf( group ) == Stance::acting;
      } );
      for ( auto const& [ name, link ] : machine_.kernel.links() ) {
         bool const hasMark = link.hasProtoDownReason( Ufdd::Link::usualReason );
         bool const isShut = !link.adminUp || ( link.protoDown && !link.carrier );
         bool const isOurs = link.ours || hasMark;
         Ufdd::OwnedLink const* const owned = machine_.recorded( link );
         if ( isProtected( link ) ) {
            wanted.erase( name );
            ordered.erase( name );
         }
         // A link that carried the default route was not shut, one that was shut stays so.
         if ( ordered.contains( name ) && !isShut && !isSpared( name, link ) )
            return name + " is open, though it is ordered down";
         if ( wanted.contains( name ) && !isShut && !mayBeOverridden( link ) &&
              !isSpared( name, link ) )
            return name + " is open";
         if ( !wanted.contains( name ) && !ordered.contains( name ) &&
              !leftAlone.contains( name ) && isOurs )
            return name + " is still shut";
         if ( isInOverrides( link ) && !mayBeOverridden( link ) )
            return name + " is overridden without a reason";
         if ( isOurs && !( owned && owned->isApplied( link ) ) )
            return name + " is not recorded";
         if ( owned && !isOurs && !link.isUnclear )
            return name + " is recorded, but not ours";
      }
      for ( Ufdd::OwnedLink const& owned : machine_.store.links )
         if ( !machine_.find( std::string( owned.name.view() ) ) )
            return std::string( owned.name.view() ) + " is recorded, but gone";
      return "";
   }

   // Returns the links that the daemon may touch when the uplink loses its carrier.
   Names touchedBy( std::string const& uplink ) const {
      Names touched;
      Names changed{ uplink };
      for ( std::size_t size = 0; std::exchange( size, changed.size() ) != changed.size(); ) {
         for ( PlainGroup const& group : config_.groups )
            for ( std::string const& name : group.monitor )
               if ( SimulatedLink const* const link = machine_.find( name );
                    link && changed.contains( std::string( link->name.view() ) ) )
                  for ( std::string const& port : group.disable )
                     touched.merge( linksOf( port ) );
         changed.insert( touched.begin(), touched.end() );
         // A LAG loses its carrier with its members.
         for ( auto const& [ name, link ] : machine_.kernel.links() )
            for ( auto const& [ other, lag ] : machine_.kernel.links() )
               if ( link.master == lag.index && changed.contains( name ) )
                  changed.insert( other );
      }
      return touched;
   }

   // Returns true if others have opened the link so often that the daemon may have given up. Allows
   // for a daemon that was late to see the first times.
   static bool isFoughtOver( SimulatedLink const& link ) {
      constexpr std::size_t times = Ufdd::PortActs::maxReopenings;
      for ( std::size_t i = times; i < link.openings.size(); ++i )
         if ( link.openings[ i ] - link.openings[ i - times ] <
              Ufdd::PortActs::reopeningSeconds + 40 )
            return true;
      return false;
   }

   // Returns true if no delay can be running.
   bool isSettled() const { return since_ > 10; }

   // Returns true if a group or an order that has its ports shut, or may have that soon, shuts that
   // link while it carries the default route.
   bool mayBeShut( std::string const& name, bool now ) const {
      Ufdd::OrderBook const& book = machine_.orders.book;
      auto const isForced = []( Ufdd::Order const* order ) { return order && order->isForced; };
      return linksIf( [ & ]( PlainGroup const& group, std::string const& port ) {
                bool const isNeeded = stanceOf( group ) == Stance::down ||
                                      ( needsShut( group, port ) && isDown( group ) &&
                                        !mayHaveBeenLeftAlone( group ) );
                return isForced( standing( book.ports, port ) ) ||
                       ( ( group.allowsDefaultRoute ||
                           isForced( standing( book.groups, group.name ) ) ) &&
                         ( !now || isNeeded ) );
             } )
          .contains( name );
   }

   // Returns true if the link is not to be shut because it carries the default route.
   bool isSpared( std::string const& name, SimulatedLink const& link ) const {
      return machine_.carriesRoute( link ) && !mayBeShut( name, true );
   }
   // Returns true if the group need not wait for its route.
   bool isReady( PlainGroup const& group ) const {
      for ( auto const& [ name, link ] : machine_.kernel.links() )
         if ( link.index == machine_.route )
            return link.adminUp && link.carrier && !group.disable.contains( name ) &&
                   std::ranges::none_of( link.altNames, [ & ]( std::string const& other ) {
                      return group.disable.contains( other );
                   } );
      return false;
   }

   bool isProtected( SimulatedLink const& link ) const {
      return config_.protectsSafe &&
             std::ranges::any_of( machine_.kernel.links(), [ & ]( auto const& entry ) {
                SimulatedLink const& other = entry.second;
                return std::ranges::count( other.altNames, "safe" ) > 0 &&
                       ( &other == &link || ( other.isLag && other.index == link.master ) );
             } );
   }
   unsigned int upOf( PlainGroup const& group ) const {
      unsigned int up = 0;
      for ( std::string const& name : group.monitor )
         if ( SimulatedLink const* const link = machine_.find( name ) )
            up += link->adminUp && link->carrier && !link->isDormant &&
                  !machine_.failed.contains( name );
      return up;
   }
   // Returns true if the group is down, but for uplinks that the daemon may not have seen since the
   // machine booted.
   bool mayBeLeftAlone( PlainGroup const& group ) const {
      auto const unproven =
          std::count_if( group.monitor.begin(), group.monitor.end(), [ & ]( auto const& name ) {
             return !machine_.find( name ) && !machine_.proven.contains( name );
          } );
      return isDown( group ) && upOf( group ) + unproven >= needed( group );
   }
   // As mayBeLeftAlone(), now or before the last change.
   bool mayHaveBeenLeftAlone( PlainGroup const& group ) const {
      return mayBeLeftAlone( group ) || leftAloneBefore_.contains( group.name );
   }
   // Returns the number of ports with a link that is recorded as shut by the daemon.
   std::size_t heldPorts() const {
      Names held;
      for ( PlainGroup const& group : config_.groups )
         for ( std::string const& port : group.disable )
            if ( std::ranges::any_of( linksOf( port ), [ & ]( std::string const& name ) {
                    return machine_.recorded( machine_.kernel.link( name ) );
                 } ) )
               held.insert( port );
      return held.size();
   }
   // Returns the links that are shut when the port is.
   Names linksOf( std::string const& port ) const {
      Names names;
      SimulatedLink const* const link = machine_.find( port );
      for ( auto const& [ own, other ] : machine_.kernel.links() )
         if ( link && ( link->isLag ? other.master == link->index : &other == link ) )
            names.insert( own );
      return names;
   }

   // Returns true if the group itself has that port shut.
   bool needsShut( PlainGroup const& group, std::string const& port ) const {
      if ( stanceOf( group ) != Stance::acting )
         return false;
      bool const wasDown = downBefore_.contains( group.name );
      if ( !group.autoRecover )
         return isDown( group ) ? hasLatch( group ) || wasDown || since_ >= group.downDelay
                                : isLatched( group, port );
      unsigned int const wait =
          group.awaitsRoute && !isReady( group ) ? PlainConfig::releaseTimeout : 0;
      double const delay = wasDown ? group.recoveryDelay + wait : group.downDelay;
      return since_ < delay ? wasDown : isDown( group );
   }

 private:
   Names groupsIf( bool ( Oracle::*is )( PlainGroup const& ) const ) const {
      Names names;
      for ( PlainGroup const& group : config_.groups )
         if ( ( this->*is )( group ) )
            names.insert( group.name );
      return names;
   }
   // Returns the order if it has not ended yet; else null.
   static Ufdd::Order const* standing( Ufdd::OrderBook::Orders const& orders,
                                       std::string const& name ) {
      auto const at = orders.find( name );
      return at == orders.end() || at->second.until <= Zet::now() ? nullptr : &at->second;
   }

   PlainConfig const& config_;
   Machine& machine_;
   double since_ = 1e9;
   Names downBefore_, leftAloneBefore_;
};

} // namespace Simulation
