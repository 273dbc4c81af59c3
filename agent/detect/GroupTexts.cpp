#include "agent/detect/GroupTexts.h"

#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;

namespace {

std::string
stanceText( GroupMode stance ) {
   return stance == GroupMode::disabled      ? ", disabled"
          : stance == GroupMode::orderedDown ? ", ordered down"
          : stance == GroupMode::dryRun      ? ", dry_run"
                                             : "";
}

} // namespace

GroupsText
groupsText( Detector const& detector, Kelnet::IntfId port, GroupLinkStatus linkStatus,
            Named named ) {
   GroupsText groups;
   for ( auto group = detector.config->groupIteratorConst(); group; ++group ) {
      auto const status = detector.status->group( group->name() );
      if ( !group->intfsToDisable( port ) || !status || status->groupLinkStatus() != linkStatus ||
           ( named == Named::shutting && !detector.decisions().of( group->name() ).shuts( port ) ) )
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
          stanceText( detector.decisions().of( group.name() ).stance() );
}

std::string
countText( Detector const& detector, GroupConfig const& group, unsigned int up ) {
   auto const [ stay, recover, now ] = detector.decisions().of( group.name() ).thresholds();
   return std::to_string( up ) + "/" + std::to_string( group.intfsToMonitorMembers().count() ) +
          " up, min_links " + std::to_string( stay ) +
          ( recover > stay ? ", recover_links " + std::to_string( recover ) : "" );
}

} // namespace Ufdd
