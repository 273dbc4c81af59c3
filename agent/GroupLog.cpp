#include "agent/GroupLog.h"

#include "model/GroupStatus.h"

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
}

void
GroupLog::print( Zet::Name const& name, LinkStatus before, LinkStatus now ) {
   Zet::Ptr< GroupConfig > const group = detector_.config->group( name );
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
