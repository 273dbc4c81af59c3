#include "agent/detect/Detector.h"

#include "agent/reflected/Configuration.h"
#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <set>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;

Detector::Detector( BootStore& store )
    : config( UplinkFailureDetection::configFactory( "config" ) ),
      status( UplinkFailureDetection::statusFactory( "status" ) ),
      causeStatus( Errdisable::CauseStatus::CauseStatusIs( "uplinkFailureDetection" ) ),
      directory( Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" ) ),
      history_( store, directory ), decisions_( config, status, directory, history_ ),
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
   history_.keepFallen( wanted );
   for ( GroupSettings const& settings : groups )
      configure( settings, difference );
   return difference;
}

void
Detector::configure( GroupSettings const& settings, Difference& difference ) {
   Zet::Name const name = settings.config->name();
   bool const isNew = !config->group( name );
   bool const hasNewPolicy =
       decisions_.policyIs( name, settings.policy, settings.config->minLinks() );
   Zet::Ptr< GroupConfig > const wanted = GroupConfig::GroupConfigIs( name );
   copyConfiguration( *settings.config, *wanted, CopyOrder::addFirst );
   wanted->minLinksIs( decisions_.of( name ).thresholds().now );
   Zet::Ptr< GroupConfig > const group = config->groupIs( name );
   if ( isNew )
      ++difference.added;
   else if ( hasNewPolicy || !isConfiguredAlike( *wanted, *group ) )
      ++difference.changed;
   // This order keeps a group that stays up or down from passing through the other state.
   copyConfiguration( *wanted, *group,
                      isDown( name ) ? CopyOrder::removeFirst : CopyOrder::addFirst );
}

bool
Detector::isDown( Zet::Name const& group ) const {
   Zet::Ptr< GroupStatus > const groupStatus = status->group( group );
   return groupStatus && groupStatus->groupLinkStatus() == GroupLinkStatus::down;
}

void
Detector::start() {
   root_->uplinkFailureDetectionSmIs( config, status, causeStatus, directory );
}

bool
Detector::isUp( Kelnet::IntfId uplink ) const {
   auto const* const interface = directory->intfStatus( uplink );
   return interface && interface->operStatus() == Interface::OperStatus::up;
}

unsigned int
Detector::upOf( GroupConfig const& group ) const {
   unsigned int up = 0;
   for ( auto uplink = group.intfsToMonitorIteratorConst(); uplink; ++uplink )
      up += isUp( uplink.key() );
   return up;
}

} // namespace Ufdd
