#include "agent/ctl/ImaginedDetector.h"

#include "agent/reflected/Configuration.h"

#include <algorithm>

namespace Ufdd {

using Interface::OperStatus;
using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;

void
ImaginedDetector::add( GroupConfig const& group, Manner const& manner ) {
   copyConfiguration( group, *config_->groupIs( group.name() ), CopyOrder::addFirst );
   manners_[ group.name() ] = manner;
   setNeeded( group, manner );
}

void
ImaginedDetector::setNeeded( GroupConfig const& group, Manner const& manner ) {
   config_->groupIs( group.name() )
       ->minLinksIs( manner.hasFallen ? manner.recoverLinks : manner.minLinks );
}

void
ImaginedDetector::configure( View const& view ) {
   for ( View::Group const& group : view.groups )
      add( *group.config, { .mode = group.state->mode(),
                            .downDelay = group.state->downDelay(),
                            .recoveryDelay = group.state->recoveryDelay(),
                            .minLinks = group.state->minLinks(),
                            .recoverLinks = group.state->recoverLinks(),
                            .hasFallen = group.state->neededLinks() > group.state->minLinks(),
                            .releaseWhen = group.state->releaseWhen(),
                            .releaseTimeout = group.state->releaseTimeout(),
                            .autoRecover = group.state->autoRecover() } );
}

void
ImaginedDetector::configure( ConfigFile const& file, View const& view ) {
   for ( GroupSettings const& group : file.groups ) {
      auto const now = view.agent->group( group.config->name() );
      add( *group.config,
           { .mode = group.policy.mode( now ? now->order() : OrderKind::none ),
             .downDelay = group.policy.downDelay,
             .recoveryDelay = group.policy.recoveryDelay,
             .minLinks = group.config->minLinks(),
             .recoverLinks = std::max( group.config->minLinks(), group.policy.recoverLinks ),
             .hasFallen = now && now->isDown(),
             .releaseWhen = routesText( group.policy.releaseWhen ),
             .releaseTimeout = group.policy.releaseTimeout,
             .autoRecover = group.policy.autoRecover } );
   }
}

void
ImaginedDetector::setLink( Kelnet::IntfId link, bool isUp ) {
   directory_->intfStatusIs( link )->operStatusIs( isUp ? OperStatus::up : OperStatus::down );
}

void
ImaginedDetector::start() {
   root_->uplinkFailureDetectionSmIs( config_, status_, causeStatus_, directory_ );
}

void
ImaginedDetector::decide() {
   config_->groupMembers().forEach(
       [ & ]( GroupConfig const& group ) { decisions_.decideAgain( group.name() ); } );
   decisions_.takeChanges();
   config_->groupMembers().forEach( [ & ]( GroupConfig const& group ) {
      Manner& manner = manners_.at( group.name() );
      manner.hasFallen = status( group.name() ) == GroupLinkStatus::down;
      setNeeded( group, manner );
   } );
}

bool
ImaginedDetector::isUp( Kelnet::IntfId link ) const {
   auto const* const status = directory_->intfStatus( link );
   return status && status->operStatus() == OperStatus::up;
}

GroupLinkStatus
ImaginedDetector::status( Zet::Name const& group ) const {
   auto const status = status_->group( group );
   return status ? status->groupLinkStatus() : GroupLinkStatus::unknown;
}

unsigned int
ImaginedDetector::upLinks( GroupConfig const& group ) const {
   unsigned int up = 0;
   group.intfsToMonitorMembers().forEach(
       [ & ]( auto const& uplink ) { up += isUp( uplink.zetKey() ); } );
   return up;
}

Zet::Ptr< GroupState >
ImaginedDetector::newState( GroupConfig const& group ) const {
   auto const state = Zet::make< GroupState >( group.name() );
   state->upLinksIs( upLinks( group ) );
   state->allLinksIs( static_cast< unsigned int >( group.intfsToMonitorMembers().count() ) );
   state->minLinksIs( manner( group.name() ).minLinks );
   state->neededLinksIs( group.minLinks() );
   return state;
}

bool
ImaginedDetector::wantsShut( GroupConfig const& group ) const {
   return manner( group.name() ).mode == GroupMode::orderedDown ||
          status( group.name() ) == GroupLinkStatus::down;
}

std::string
ImaginedDetector::hindrance( GroupConfig const& group ) const {
   GroupMode const mode = manner( group.name() ).mode;
   if ( mode == GroupMode::orderedDown )
      return "";
   if ( mode == GroupMode::disabled )
      return "disabled";
   if ( mode != GroupMode::acting && mode != GroupMode::unproven )
      return "in " + std::string( Notify::textOf( mode ).view() );
   unsigned int unproven = 0;
   group.intfsToMonitorMembers().forEach( [ & ]( auto const& uplink ) {
      unproven += !hasLink( uplink.zetKey() ) && unproven_.contains( uplink.zetKey() );
   } );
   return upLinks( group ) + unproven >= group.minLinks() ? "for unproven uplinks" : "";
}

bool
ImaginedDetector::shuts( GroupConfig const& group, Kelnet::IntfId port ) const {
   return isOrderedDown( port ) || ( wantsShut( group ) && hindrance( group ).empty() );
}

} // namespace Ufdd
