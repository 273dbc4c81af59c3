#include "agent/GroupLog.h"

#include "model/GroupStatus.h"

#include <algorithm>
#include <string>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;

GroupLog::GroupLog( Detector const& detector, LinkDirectory const& links, Log& log )
    : detector_( detector ), links_( links ), log_( log ), transitions_( detector.status, *this ) {}

void
GroupLog::handleTransition( Zet::Name const& name, LinkStatus before, LinkStatus now ) {
   if ( isConfiguring_ )
      beforeConfiguring_.try_emplace( name, before );
   else
      print( name, before, now );
}

void
GroupLog::endConfiguring() {
   isConfiguring_ = false;
   for ( auto const& [ name, before ] : std::exchange( beforeConfiguring_, {} ) )
      if ( auto const group = detector_.status->group( name );
           group && group->groupLinkStatus() != before )
         print( name, before, group->groupLinkStatus() );
   toldUp_.clear();
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      toldUp_[ group->name() ] = detector_.upOf( *group );
}

void
GroupLog::settle( std::vector< LinkNews > const& changes ) {
   if ( changes.empty() && toldUp_.size() == detector_.config->groupMembers().count() )
      return;
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group ) {
      unsigned int const up = detector_.upOf( *group );
      auto const [ told, isNew ] = toldUp_.try_emplace( group->name(), up );
      if ( std::exchange( told->second, up ) == up )
         continue;
      auto const last =
          std::find_if( changes.rbegin(), changes.rend(), [ & ]( LinkNews const& change ) {
             return group->intfsToMonitor( change.port );
          } );
      log_.event( { .groups = { group->name().view() } },
                  "group " + std::string( group->name().view() ) + ": " +
                      detector_.countOf( *group ) +
                      ( last == changes.rend() ? "" : ": uplink " + last->text() ) );
   }
}

void
GroupLog::print( Zet::Name const& name, LinkStatus before, LinkStatus now ) {
   Zet::Ptr< GroupConfig > const group = detector_.config->group( name );
   // This line tells of it, if it changes again within the turn or not.
   toldUp_.erase( name );
   LinkNews const& news = links_.news();
   std::string const reason = news.kind == LinkNews::Kind::none ? "configured"
                              : group && group->intfsToMonitor( news.port )
                                  ? "uplink " + news.text()
                                  : news.text();
   log_.event( { .id = LogEvent::groupTransition, .groups = { name.view() } },
               "group " + std::string( name.view() ) + ": " +
                   std::string( stringValue( before ).view() ) + " -> " +
                   std::string( stringValue( now ).view() ) + ", " +
                   ( group ? detector_.countOf( *group ) : "" ) + ": " + reason );
}

} // namespace Ufdd
