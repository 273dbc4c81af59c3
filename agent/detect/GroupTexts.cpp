#include "agent/detect/GroupTexts.h"

#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;

GroupsText
groupsText( Detector const& detector, Kelnet::IntfId port, GroupLinkStatus linkStatus,
            DryRun dryRun ) {
   GroupsText groups;
   for ( auto group = detector.config->groupIteratorConst(); group; ++group ) {
      auto const status = detector.status->group( group->name() );
      if ( !group->intfsToDisable( port ) || !status || status->groupLinkStatus() != linkStatus ||
           ( dryRun == DryRun::leftOut && detector.decisions().isDryRun( group->name() ) ) )
         continue;
      groups.names.push_back( group->name().view() );
      groups.text +=
          ( groups.text.empty() ? "" : "; " ) + groupText( detector, *group, linkStatus );
   }
   return groups;
}

std::string
groupText( Detector const& detector, GroupConfig const& group, GroupLinkStatus linkStatus ) {
   return "group " + std::string( group.name().view() ) + " is " +
          std::string( stringValue( linkStatus ).view() ) + ", " +
          countText( detector, group, detector.upOf( group ) ) +
          ( detector.decisions().isDryRun( group.name() ) ? ", dry_run" : "" );
}

std::string
countText( Detector const& detector, GroupConfig const& group, unsigned int up ) {
   auto const [ stay, recover, now ] = detector.decisions().thresholdsOf( group.name() );
   return std::to_string( up ) + "/" + std::to_string( group.intfsToMonitorMembers().count() ) +
          " up, min_links " + std::to_string( stay ) +
          ( recover > stay ? ", recover_links " + std::to_string( recover ) : "" );
}

} // namespace Ufdd
