#pragma once

#include "agent/Agent.h"
#include "tests/sim/Machine.h"
#include "tests/sim/PlainConfig.h"

#include <algorithm>
#include <string>

namespace Simulation {

// Follows which groups are down until their recover_links are up, as the daemon tells, and knows
// when that may change. Counts only what is certain, however late the daemon hears of the links.
class FallenGroups {
 public:
   FallenGroups( PlainConfig const& config, Machine& machine )
       : config_( config ), machine_( machine ) {}

   // Groups that are gone are forgotten.
   void handleConfig() {
      for ( Names* const names : { &machine_.fallen, &known_ } )
         std::erase_if( *names, [ & ]( std::string const& name ) {
            return std::ranges::find( config_.groups, name, &PlainGroup::name ) ==
                   config_.groups.end();
         } );
   }
   // The next daemon knows what is recorded.
   void handleKilled() {
      auto const& record = machine_.bootStore.record;
      std::erase_if( known_, [ & ]( std::string const& name ) {
         return !record || record->fallen.contains( name ) != machine_.fallen.contains( name );
      } );
   }
   // Takes over what the daemon tells after a turn. Returns what is wrong, or nothing.
   std::string follow( Ufdd::Agent const& agent, bool hasNews ) {
      std::string complaint;
      for ( PlainGroup const& group : config_.groups )
         if ( auto const state = agent.roots().state->group( group.name ) ) {
            std::string const wrong = follow( group, *state, agent.detector().history() );
            complaint += wrong.empty() ? "" : "group " + group.name + ' ' + wrong;
         }
      if ( !hasNews && knowsAll( agent.detector() ) )
         machine_.lookAnew();
      return complaint;
   }

 private:
   std::string follow( PlainGroup const& group, Ufdd::GroupState const& state,
                       Ufdd::BootHistory const& history ) {
      bool const isCertain = !known_.insert( group.name ).second;
      bool const was = machine_.fallen.contains( group.name );
      bool const hasTwo = group.recoverLinks > group.minLinks;
      bool const is = hasTwo ? state.neededLinks() == group.recoverLinks : state.isDown();
      if ( is )
         machine_.fallen.insert( group.name );
      else
         machine_.fallen.erase( group.name );
      if ( !hasTwo ) {
         // While it is left alone, it may need to recover from an earlier fall though it is not
         // decided to be down. And it may be taken for down only because ports are held, without
         // evidence.
         bool const isLeftAlone = state.wait() == Ufdd::WaitReason::unproven ||
                                  state.wait() == Ufdd::WaitReason::startupHold;
         if ( isLeftAlone || ( is && ( state.wait() != Ufdd::WaitReason::nothing ||
                                       state.upLinks() >= state.minLinks() ) ) )
            known_.erase( group.name );
         return "";
      }
      if ( isCertain && was && !is && among( group.monitor, machine_.upOnce ) < group.recoverLinks )
         return "has recovered with too few uplinks";
      if ( isCertain && !was && is && among( group.monitor, machine_.upAlways ) >= group.minLinks )
         return "has fallen with enough uplinks";
      if ( !machine_.bootStore.isFull && history.nextTime() == Ufdd::never &&
           machine_.bootStore.record->fallen.contains( group.name ) != is )
         return "is recorded wrongly";
      return "";
   }
   bool knowsAll( Ufdd::Detector const& detector ) const {
      Names const up = machine_.upLinks();
      return std::ranges::all_of( config_.groups, [ & ]( PlainGroup const& group ) {
         return std::ranges::all_of( group.monitor, [ & ]( std::string const& name ) {
            return detector.isUp( Kelnet::IntfId( name ) ) == up.contains( name );
         } );
      } );
   }

   PlainConfig const& config_;
   Machine& machine_;
   Names known_; // The groups for which Machine::fallen is certain.
};

} // namespace Simulation
