#include "agent/detect/Detector.h"

#include "agent/reflected/Configuration.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <set>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;

namespace {

bool
isUp( Interface::EthIntfStatus const* uplink ) {
   return uplink && uplink->operStatus() == Interface::OperStatus::up;
}

} // namespace

Detector::Detector( Log& log )
    : config( UplinkFailureDetection::configFactory( "config" ) ),
      status( UplinkFailureDetection::statusFactory( "status" ) ),
      cause( Errdisable::CauseStatus::CauseStatusIs( "uplinkFailureDetection" ) ),
      directory( Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" ) ),
      decisions( config, status, directory, log ),
      root_( UplinkFailureDetection::rootFactory( "root" ) ) {}

Detector::Difference
Detector::configure( std::vector< GroupSettings > const& groups ) {
   Difference difference;
   std::set< Zet::Name > wanted;
   for ( GroupSettings const& settings : groups )
      wanted.insert( settings.config->name() );
   for ( auto group = config->groupIterator(); group; ++group )
      if ( !wanted.contains( group->name() ) ) {
         ++difference.removed;
         config->groupDel( group->name() );
      }
   for ( GroupSettings const& settings : groups )
      configure( settings, difference );
   return difference;
}

void
Detector::configure( GroupSettings const& settings, Difference& difference ) {
   Zet::Name const name = settings.config->name();
   bool const isNew = !config->group( name );
   bool const hasNewPolicy = decisions.policyIs( name, settings.policy );
   GroupConfig const& wanted = *settings.config;
   Zet::Ptr< GroupConfig > const group = config->groupIs( name );
   if ( isNew )
      ++difference.added;
   else if ( hasNewPolicy || !isConfiguredAlike( wanted, *group ) )
      ++difference.changed;
   // So that the group gets from one state to the other without passing through a third.
   copyConfiguration( wanted, *group,
                      isDown( name ) ? CopyOrder::removeFirst : CopyOrder::addFirst );
}

bool
Detector::isDown( Zet::Name const& group ) const {
   Zet::Ptr< GroupStatus > const groupStatus = status->group( group );
   return groupStatus && groupStatus->groupLinkStatus() == GroupLinkStatus::down;
}

void
Detector::start() {
   root_->uplinkFailureDetectionSmIs( config, status, cause, directory );
}

Detector::Groups
Detector::groupsOf( Kelnet::IntfId port, GroupLinkStatus linkStatus, DryRun dryRun ) const {
   Groups groups;
   for ( auto group = config->groupIteratorConst(); group; ++group ) {
      Zet::Ptr< GroupStatus > const groupStatus = status->group( group->name() );
      bool const isDryRun = decisions.isDryRun( group->name() );
      if ( !group->intfsToDisable( port ) || !groupStatus ||
           groupStatus->groupLinkStatus() != linkStatus ||
           ( isDryRun && dryRun == DryRun::leftOut ) )
         continue;
      groups.names.push_back( group->name().view() );
      groups.text += ( groups.text.empty() ? "group " : "; group " ) +
                     std::string( group->name().view() ) + " is " +
                     std::string( stringValue( linkStatus ).view() ) + ", " + countOf( *group ) +
                     ( isDryRun ? ", dry_run" : "" );
   }
   return groups;
}

std::string
Detector::uplinksOf( GroupConfig const& group ) const {
   std::string text;
   for ( auto uplink = group.intfsToMonitorIteratorConst(); uplink; ++uplink ) {
      auto const* const uplinkStatus = directory->intfStatus( uplink.key() );
      text += ( text.empty() ? "" : ", " ) + std::string( uplink.key().name().view() ) +
              ( !uplinkStatus          ? " absent"
                : isUp( uplinkStatus ) ? " up"
                                       : " down" );
   }
   return text;
}

unsigned int
Detector::upOf( GroupConfig const& group ) const {
   unsigned int up = 0;
   for ( auto uplink = group.intfsToMonitorIteratorConst(); uplink; ++uplink )
      up += isUp( directory->intfStatus( uplink.key() ) );
   return up;
}

std::string
Detector::countOf( GroupConfig const& group, unsigned int up ) {
   return std::to_string( up ) + "/" + std::to_string( group.intfsToMonitorMembers().count() ) +
          " up, min_links " + std::to_string( group.minLinks() );
}

} // namespace Ufdd
