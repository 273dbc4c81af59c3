#include "agent/detect/GroupLog.h"

#include "agent/base/NearestWord.h"
#include "agent/detect/GroupTexts.h"
#include "model/GroupStatus.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;

GroupLog::GroupLog( Detector const& detector, LinkDirectory const& links, Log& log )
    : detector_( detector ), links_( links ), log_( log ), transitions_( detector.status, *this ) {}

void
GroupLog::handleTransition( Zet::Name const& name, GroupLinkStatus before, GroupLinkStatus now ) {
   if ( isConfiguring_ )
      beforeConfiguring_.try_emplace( name, before );
   else
      keep( name, before, now );
}

void
GroupLog::keep( Zet::Name const& name, GroupLinkStatus before, GroupLinkStatus now ) {
   auto const group = detector_.config->group( name );
   waiting_.push_back(
       { name, before, now, links_.cause(), group ? detector_.upOf( *group ) : 0 } );
}

void
GroupLog::tellTransitions() {
   for ( Transition const& transition : waiting_ )
      print( transition );
   waiting_.clear();
}

void
GroupLog::endConfiguring() {
   isConfiguring_ = false;
   for ( auto const& [ name, before ] : std::exchange( beforeConfiguring_, {} ) )
      if ( auto const group = detector_.status->group( name );
           group && group->groupLinkStatus() != before )
         keep( name, before, group->groupLinkStatus() );
   tellTransitions();
   toldUp_.clear();
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      toldUp_[ group->name() ] = detector_.upOf( *group );
}

void
GroupLog::tell( std::vector< DecisionRemarks::Remark > const& remarks ) {
   for ( auto const& [ group, text, id, unproven ] : remarks ) {
      std::string line = "group " + std::string( group.view() ) + ": " + text;
      for ( Kelnet::IntfId const name : unproven )
         line += suggestionFor( name.name().view(), group );
      log_.event( { .id = id, .groups = { group.view() } }, line );
   }
}

// Returns "; did you mean eth1 by eht1?", or nothing. Suggests no name that the group lists.
std::string
GroupLog::suggestionFor( std::string_view name, Zet::Name const& group ) const {
   std::vector< std::string_view > names = links_.names();
   auto const remove = [ & ]( auto listed ) {
      for ( ; listed; ++listed )
         std::erase( names, listed.key().name().view() );
   };
   if ( auto const config = detector_.config->group( group ) ) {
      remove( config->intfsToMonitorIteratorConst() );
      remove( config->intfsToDisableIteratorConst() );
   }
   auto const nearest = nearestWord( name, names );
   return nearest ? "; did you mean " + std::string( *nearest ) + " by " + std::string( name ) + "?"
                  : "";
}

void
GroupLog::tellUplinks( std::vector< LinkCause > const& changes ) {
   if ( changes.empty() && toldUp_.size() == detector_.config->groupMembers().count() )
      return;
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group ) {
      unsigned int const up = detector_.upOf( *group );
      auto const [ told, isNew ] = toldUp_.try_emplace( group->name(), up );
      if ( std::exchange( told->second, up ) == up )
         continue;
      auto const last =
          std::find_if( changes.rbegin(), changes.rend(), [ & ]( LinkCause const& change ) {
             return group->intfsToMonitor( change.link );
          } );
      log_.event( { .groups = { group->name().view() } },
                  "group " + std::string( group->name().view() ) + ": " +
                      countText( detector_, *group, up ) +
                      ( last == changes.rend() ? "" : ": uplink " + last->text() ) );
   }
}

void
GroupLog::print( Transition const& transition ) {
   auto const& [ name, before, now, cause, up ] = transition;
   Zet::Ptr< GroupConfig > const group = detector_.config->group( name );
   // This line tells the number of uplinks; tellUplinks() must not repeat it.
   toldUp_.erase( name );
   std::string const reason = cause.isNone() ? "configured"
                              : group && group->intfsToMonitor( cause.link )
                                  ? "uplink " + cause.text()
                                  : cause.text();
   log_.event( { .id = LogEvent::groupTransition, .groups = { name.view() } },
               "group " + std::string( name.view() ) + ": " +
                   std::string( stringValue( before ).view() ) + " -> " +
                   std::string( stringValue( now ).view() ) + ", " +
                   ( group ? countText( detector_, *group, up ) : "" ) + ": " + reason );
   told_.push_back( { name, before, now, reason } );
}

} // namespace Ufdd
