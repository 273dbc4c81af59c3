#pragma once

#include "tests/sim/Oracle.h"

#include <algorithm>
#include <map>
#include <string>

namespace Simulation {

// Watches which ports the daemon moves, turn by turn, and knows which it must leave alone. Counts
// only what is certain, however late the daemon hears of the links.
class Restraint {
 public:
   Restraint( PlainConfig const& config, Machine& machine )
       : config_( config ), machine_( machine ) {}

   // The machine booted. The first daemon starts later.
   void handleBoot() {
      firstStart_ = Ufdd::never;
      mayHaveBeenUp_.clear();
   }
   // A daemon started, or another configuration was loaded.
   void handleConfig( double now, bool isStart ) {
      if ( isStart ) {
         firstStart_ = std::min( firstStart_, now );
         holdEnd_ = firstStart_ + config_.startupHold;
      }
      ports_.clear();
   }

   // Operators have ordered something.
   void forget() { ports_.clear(); }

   void beginTurn() {
      for ( PlainGroup const& group : config_.groups )
         if ( among( group.monitor, machine_.kernel.wereUp ) >= group.minLinks )
            mayHaveBeenUp_.insert( group.name );
      before_ = machine_.shutLinks();
      bookBefore_ = machine_.orders.book;
      actsBefore_ = machine_.kernel.acts.size();
      racesBefore_ = machine_.races();
   }
   // Returns what the daemon should not have done in that turn, or nothing. Does not judge a turn
   // in whose midst something else happened.
   std::string complaint( double now ) {
      Ufdd::OrderBook const& book = machine_.orders.book;
      if ( machine_.races() != racesBefore_ || book.groups != bookBefore_.groups ||
           book.ports != bookBefore_.ports || machine_.orders.isGone ) {
         ports_.clear();
         return "";
      }
      Names const after = machine_.shutLinks();
      groupsOf_ = groupsOfLinks();
      for ( std::string const& name : after )
         if ( !before_.contains( name ) && isLeftAlone( name, now ) )
            return name + " was shut without evidence";
      std::string const acts = machine_.kernel.acts.substr( actsBefore_ ) + ' ';
      for ( auto const& [ name, link ] : machine_.kernel.links() ) {
         bool const isOpened = acts.find( " +" + name + ' ' ) != std::string::npos &&
                               before_.contains( name ) && !after.contains( name );
         if ( isOpened && isKeptByLatch( name ) )
            return name + " was opened, though it is latched";
         if ( isOpened && mustStayShut( name, now ) )
            return name + " was opened, though a query would have told that it must be shut";
         if ( !follow( link, now, isOpened, after.contains( name ) ) )
            return name + " was opened before the recovery_delay had passed";
      }
      return "";
   }

 private:
   // What is known about a port of a single group.
   struct Port {
      std::uint32_t index = 0;
      std::size_t openings = 0;
      double shutAt = -Ufdd::never, openedAt = -Ufdd::never; // By the daemon.
      double delay = 0; // At least so long before it is opened.
      bool wasShut = false;
   };

   using Groups = std::vector< PlainGroup const* >;
   // Returns the groups that may move each link.
   std::map< std::string, Groups > groupsOfLinks() const {
      std::map< std::string, Groups > groups;
      for ( PlainGroup const& group : config_.groups )
         for ( std::string const& port : group.disable )
            for ( std::string const& link : oracle_.linksOf( port ) )
               groups[ link ].push_back( &group );
      return groups;
   }
   // Returns true if the link is open or shut whatever its groups need.
   bool isExempt( std::string const& name ) const {
      SimulatedLink const& link = machine_.kernel.link( name );
      return oracle_.isProtected( link ) || machine_.carriesRoute( link ) ||
             oracle_.isInOverrides( link ) || oracle_.orderedLinks().contains( name );
   }
   // Returns true if a group had the link latched when the turn began, and still may.
   bool isKeptByLatch( std::string const& name ) const {
      return !isExempt( name ) &&
             oracle_
                 .linksIf( [ & ]( PlainGroup const& group, std::string const& port ) {
                    return !group.autoRecover &&
                           oracle_.stanceOf( group ) == Oracle::Stance::acting &&
                           bookBefore_.latches.contains( { group.name, port } );
                 } )
                 .contains( name );
   }
   // Returns true if each group of the link may be up, as far as it can be told.
   bool isLeftAlone( std::string const& name, double now ) {
      Groups const& groups = groupsOf_[ name ];
      if ( oracle_.orderedLinks().contains( name ) )
         return false;
      return !groups.empty() && std::all_of( groups.begin(), groups.end(), [ & ]( auto* group ) {
         // On a full disk, a latch is not on record.
         if ( oracle_.hasLatch( *group ) || ( machine_.orders.isFull && !group->autoRecover ) )
            return false;
         std::size_t const unproven =
             group->monitor.size() - among( group->monitor, machine_.kernel.existed );
         bool const isInStartupHold = now < holdEnd_ && !mayHaveBeenUp_.contains( group->name );
         // While its recovery_delay runs, it holds what others open.
         bool const holdsAgain = !machine_.kernel.link( name ).openings.empty() &&
                                 !oracle_.isDown( *group ) && group->recoveryDelay > 0;
         return isInStartupHold ||
                ( unproven > 0 && unproven >= group->recoverLinks && !holdsAgain );
      } );
   }
   // Returns true if a group that reacts at once is down, and a query would have told so.
   bool mustStayShut( std::string const& name, double now ) {
      if ( machine_.kernel.isDeaf || config_.isLayered || now < holdEnd_ || isExempt( name ) )
         return false;
      Groups const& groups = groupsOf_[ name ];
      return std::any_of( groups.begin(), groups.end(), [ & ]( auto* group ) {
         return oracle_.stanceOf( *group ) == Oracle::Stance::acting && group->downDelay == 0 &&
                oracle_.isDown( *group ) &&
                std::all_of( group->monitor.begin(), group->monitor.end(),
                             [ & ]( auto& uplink ) { return machine_.find( uplink ) != nullptr; } );
      } );
   }
   // Returns false if the port was opened too early.
   bool follow( SimulatedLink const& link, double now, bool isOpened, bool isShut ) {
      std::string const name( link.name.view() );
      Groups const& groups = groupsOf_[ name ];
      if ( groups.size() != 1 || link.refusal != 0 || link.isLag || link.master != 0 ||
           isExempt( name ) || oracle_.stanceOf( *groups.front() ) != Oracle::Stance::acting ) {
         ports_.erase( name );
         return true;
      }
      PlainGroup const& group = *groups.front();
      double const least = group.recoveryDelay;
      double const most = std::max( group.recoveryDelay, group.recoveryDelayMax );
      auto const [ at, isNew ] = ports_.try_emplace( name );
      Port& port = at->second;
      // Others have opened or replaced it: nothing is known any more.
      if ( isNew || port.index != link.index || port.openings != link.openings.size() )
         port = { link.index, link.openings.size(), -Ufdd::never, -Ufdd::never, least, isShut };
      bool const isFall = isShut && !port.wasShut;
      bool const isEarly = isOpened && now < port.shutAt + port.delay - 1e-6;
      port.wasShut = isShut;
      if ( isFall ) {
         port.delay = now - port.openedAt >= most ? least : std::min( 2 * port.delay, most );
         port.shutAt = now;
      }
      if ( isOpened )
         port.openedAt = now;
      return !isEarly;
   }

   PlainConfig const& config_;
   Machine& machine_;
   Oracle const oracle_{ config_, machine_ };
   double firstStart_ = Ufdd::never;
   double holdEnd_ = -Ufdd::never;
   Names mayHaveBeenUp_;                      // Groups, since the boot.
   std::map< std::string, Port > ports_;      // By name.
   std::map< std::string, Groups > groupsOf_; // At the end of the turn, by the link's name.
   Ufdd::OrderBook bookBefore_;
   Names before_; // The links that were shut by the daemon.
   std::size_t actsBefore_ = 0;
   unsigned int racesBefore_ = 0;
};

} // namespace Simulation
