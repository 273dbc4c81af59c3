#include "agent/StateWriter.h"

#include "agent/base/WallTime.h"
#include "agent/ports/PortReport.h"
#include "model/GroupStatus.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

namespace Ufdd {

namespace {

using UplinkFailureDetection::GroupLinkStatus;

// Writes the order about the entity; `orders` are those about entities of its kind.
template < class E >
void
writeOrder( E& entity, OrderBook::Orders const& orders ) {
   static Order const none{ .since = 0, .until = never, .reason = {} };
   auto const at = orders.find( entity.zetName().view() );
   bool const isThere = at != orders.end();
   if ( !isThere && entity.order() == OrderKind::none )
      return;
   Order const& order = isThere ? at->second : none;
   entity.orderIs( isThere ? order.kind : OrderKind::none );
   entity.orderTimeIs( order.since );
   entity.orderEndTimeIs( order.until == never ? 0 : order.until );
   entity.orderUidIs( order.uid );
   entity.orderReasonIs( order.reason );
}

template < class T >
void
sortOut( std::vector< T >& names ) {
   if ( names.size() < 2 )
      return;
   std::sort( names.begin(), names.end() );
   names.erase( std::unique( names.begin(), names.end() ), names.end() );
}

// Writes a new condition with its time.
template < class E, class Condition >
void
writeCondition( E& entity, bool isNew, Condition condition, double now ) {
   if ( !isNew && entity.condition() == condition )
      return;
   entity.conditionIs( condition );
   entity.sinceIs( now );
}

// Returns the keys of those members for which `isUnwanted` returns true.
template < class Members, class Predicate >
auto
keysOf( Members const& members, Predicate isUnwanted ) {
   std::vector< Zet::Name > names;
   members.forEach( [ & ]( auto const& member ) {
      if ( isUnwanted( member.zetKey() ) )
         names.push_back( member.zetKey() );
   } );
   return names;
}

} // namespace

StateWriter::StateWriter( Zet::Ptr< State > state, Detector const& detector, LinkDirectory& links,
                          UplinkChecks& checks, CarrierWatch const& carrierWatch,
                          PortControl& portControl, Orders const& orders )
    : state_( std::move( state ) ), detector_( detector ), links_( links ), checks_( checks ),
      carrierWatch_( carrierWatch ), portControl_( portControl ), orders_( orders ) {}

void
StateWriter::configure() {
   groupsOfUplink_.clear();
   groupsOfPort_.clear();
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group ) {
      for ( auto uplink = group->intfsToMonitorIteratorConst(); uplink; ++uplink )
         groupsOfUplink_[ uplink.key() ].push_back( group->name() );
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         groupsOfPort_[ port.key() ].push_back( group->name() );
      dirtyGroups_.push_back( group->name() );
      GroupPolicy const& policy = detector_.decisions().of( group->name() ).policy();
      auto const entity = state_->groupIs( group->name() );
      entity->releaseWhenIs( routesText( policy.releaseWhen ) );
      entity->releaseTimeoutIs( policy.releaseTimeout );
   }
   for ( auto const* const groups : { &groupsOfUplink_, &groupsOfPort_ } )
      for ( auto const& [ link, names ] : *groups )
         dirtyLinks_.push_back( link );
   auto const isUnknownGroup = [ & ]( Zet::Name const& name ) {
      return !detector_.config->group( name );
   };
   auto const isUnknownLink = [ & ]( Zet::Name const& name ) {
      Kelnet::IntfId const link( name.view() );
      return !groupsOfUplink_.contains( link ) && !groupsOfPort_.contains( link );
   };
   for ( Zet::Name const& name : keysOf( state_->groupMembers(), isUnknownGroup ) )
      state_->groupDel( name );
   for ( Zet::Name const& name : keysOf( state_->linkMembers(), isUnknownLink ) )
      state_->linkDel( name );
   state_->portMembers().forEach(
       [ & ]( PortState const& port ) { dirtyPorts_.emplace_back( port.zetName().view() ); } );
}

void
StateWriter::handleOrders() {
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      dirtyGroups_.push_back( group->name() );
}

void
StateWriter::handleTransitions( std::span< GroupLog::Told const > transitions ) {
   for ( auto const& [ name, before, now, reason ] : transitions ) {
      hasGoneDown_ |= before == GroupLinkStatus::up && now == GroupLinkStatus::down;
      dirtyGroups_.push_back( name );
      if ( !detector_.config->group( name ) )
         continue;
      auto const group = state_->groupIs( name );
      group->causeIs( reason );
      double const since = detector_.decisions().of( name ).since();
      if ( now == GroupLinkStatus::down ) {
         group->downTimeIs( since );
         group->downWallIs( Moment::now().wallAt( since ) );
      } else
         group->upTimeIs( since );
   }
}

void
StateWriter::handleResults( std::span< PortResult const > results, double actedAt ) {
   using Kind = PortResult::Kind;
   bool hasShut = false;
   for ( auto const& [ kind, answer ] : results ) {
      if ( answer.port == Kelnet::IntfId() )
         continue;
      bool const isAct = kind == Kind::shut || kind == Kind::shutAgain || kind == Kind::opened ||
                         kind == Kind::openedAnyway;
      hasShut |= kind == Kind::shut;
      acts_ += isAct;
      failedActs_ += kind == Kind::failed;
      openActs_ += kind == Kind::opened || kind == Kind::openedAnyway;
      failedOpenActs_ += kind == Kind::failed && answer.up;
      dirtyPorts_.push_back( answer.port );
      if ( kind == Kind::failed )
         state_->portIs( answer.port.name() )->failureIs( PortReport::failureOf( answer ) );
      else if ( auto const port = state_->port( answer.port.name() );
                port && ( isAct || kind == Kind::foundDown ) )
         port->failureIs( {} );
   }
   if ( hasShut && hasGoneDown_ && !links_.touched().empty() )
      countReaction( actedAt - links_.touchedAt() );
}

void
StateWriter::countReaction( double seconds ) {
   auto const isEnough = [ & ]( std::string_view limit ) {
      double value = 0;
      std::from_chars( limit.data(), limit.data() + limit.size(), value );
      return seconds <= value;
   };
   Zet::Name const limit = *std::ranges::find_if( State::reactionLimits, isEnough );
   state_->reactionsIs( limit, state_->reactions( limit ) + 1 );
   state_->reactionSecondsIs( state_->reactionSeconds() + seconds );
}

bool
StateWriter::write() {
   collectDirty();
   bool const hasNews = !dirtyLinks_.empty() || !dirtyGroups_.empty() || !dirtyPorts_.empty();
   if ( hasNews ) {
      now_ = Zet::now();
      sortOut( dirtyLinks_ );
      for ( Kelnet::IntfId const link : dirtyLinks_ )
         writeLink( link );
      sortOut( dirtyGroups_ );
      for ( Zet::Name const& group : dirtyGroups_ )
         writeGroup( group );
      sortOut( dirtyPorts_ );
      for ( Kelnet::IntfId const port : dirtyPorts_ )
         writePort( port );
      dirtyLinks_.clear();
      dirtyGroups_.clear();
      dirtyPorts_.clear();
   }
   hasGoneDown_ = false;
   writeCounters();
   if ( checks_.takeNews() )
      writeChecks();
   return hasNews;
}

void
StateWriter::collectDirty() {
   dirtyLinks_.insert( dirtyLinks_.end(), links_.touched().begin(), links_.touched().end() );
   links_.forgetTouched();
   for ( Kelnet::IntfId const link : dirtyLinks_ ) {
      if ( auto const groups = groupsOfUplink_.find( link ); groups != groupsOfUplink_.end() )
         dirtyGroups_.insert( dirtyGroups_.end(), groups->second.begin(), groups->second.end() );
      if ( groupsOfPort_.contains( link ) )
         dirtyPorts_.push_back( link );
   }
   for ( Kelnet::IntfId const port : portControl_.takeReviewed() )
      dirtyPorts_.push_back( port );
   // Such a port may be renamed, and is nobody's then.
   dirtyPorts_.insert( dirtyPorts_.end(), leftovers_.begin(), leftovers_.end() );
   leftovers_.clear();
   dirtyGroups_.insert( dirtyGroups_.end(), waiting_.begin(), waiting_.end() );
   waiting_.clear();
   detector_.decisions().forEachInReview( [ & ]( Zet::Name const& group ) {
      waiting_.push_back( group );
      dirtyGroups_.push_back( group );
   } );
}

void
StateWriter::writeLink( Kelnet::IntfId link ) {
   if ( !groupsOfUplink_.contains( link ) && !groupsOfPort_.contains( link ) )
      return;
   Zet::Name const& name = link.name();
   bool const isNew = !state_->link( name );
   LinkCondition const condition = links_.conditionOf( link );
   bool const isUnproven = condition == LinkCondition::absent && groupsOfUplink_.contains( link ) &&
                           detector_.isUnproven( link );
   auto const entity = state_->linkIs( name );
   writeCondition( *entity, isNew, isUnproven ? LinkCondition::unproven : condition, now_ );
   entity->failureIs( links_.failureOf( link ) );
}

void
StateWriter::writeChecks() {
   std::set< Zet::Name > names;
   checks_.forEach( [ & ]( UplinkChecks::Entry const& entry ) {
      UplinkCheck const& check = entry.check;
      CheckSettings const& settings = check.settings();
      bool const isAsking = settings.kind != CheckSettings::Kind::reported;
      bool const isNeighbour = settings.kind == CheckSettings::Kind::neighbour;
      Zet::Name const name( settings.name );
      names.insert( name );
      auto const entity = state_->checkIs( name );
      for ( Kelnet::IntfId const uplink : settings.uplinks )
         entity->uplinkIs( uplink.name(), true );
      for ( Zet::Name const& gone :
            keysOf( entity->uplinkMembers(), [ & ]( Zet::Name const& known ) {
               return std::ranges::find( settings.uplinks, Kelnet::IntfId( known.view() ) ) ==
                      settings.uplinks.end();
            } ) )
         entity->uplinkDel( gone );
      std::string command;
      for ( std::string const& argument : settings.command )
         command += ( command.empty() ? "" : "\n" ) + argument;
      entity->kindIs( settings.kindText() );
      entity->addressIs( settings.address
                             ? addressText( settings.address->isV6, settings.address->address )
                             : "" );
      entity->commandIs( command );
      entity->intervalIs( isAsking ? settings.interval : 0 );
      entity->timeoutIs( isAsking ? settings.timeout : 0 );
      entity->ttlIs( isNeighbour ? 0 : settings.ttl );
      entity->riseIs( settings.rise );
      entity->fallIs( settings.fall );
      entity->verdictIs( check.verdict() );
      entity->isUpIs( entry.isUp() );
      entity->resultIs( check.last() );
      entity->reasonIs( check.reason() );
      entity->runIs( check.run() );
      entity->sinceIs( check.since() );
      entity->waitTimeIs( entry.delayedUntil );
   } );
   for ( Zet::Name const& gone : keysOf( state_->checkMembers(), [ & ]( Zet::Name const& known ) {
            return !names.contains( known );
         } ) )
      state_->checkDel( gone );
}

void
StateWriter::writeGroup( Zet::Name const& name ) {
   auto const config = detector_.config->group( name );
   if ( !config )
      return;
   GroupDecision const& decision = detector_.decisions().of( name );
   auto const group = state_->groupIs( name );
   group->modeIs( decision.mode() );
   group->isDryRunIs( decision.policy().dryRun );
   group->autoRecoverIs( decision.policy().autoRecover );
   writeOrder( *group, orders_.book().groups );
   group->upLinksIs( detector_.upOf( *config ) );
   group->allLinksIs( static_cast< unsigned int >( config->intfsToMonitorMembers().count() ) );
   auto const [ stay, recover, needed ] = decision.thresholds();
   group->minLinksIs( stay );
   group->recoverLinksIs( recover );
   group->neededLinksIs( needed );
   group->waitIs( decision.wait().reason );
   group->waitTimeIs( decision.wait().until == never ? 0 : decision.wait().until );
   group->downDelayIs( decision.policy().downDelay );
   group->recoveryDelayIs( decision.recoveryDelay().seconds() );
   group->isDownIs( decision.isDown() );
   for ( auto port = config->intfsToDisableIteratorConst(); port; ++port )
      dirtyPorts_.push_back( port.key() );
}

void
StateWriter::writePort( Kelnet::IntfId port ) {
   Zet::Name const& name = port.name();
   PortControl::View view = portControl_.viewOf( port );
   if ( !groupsOfPort_.contains( port ) ) {
      if ( view.means == PortMeans::none ) {
         state_->portDel( name );
         return;
      }
      leftovers_.push_back( port );
   }
   bool const isNew = !state_->port( name );
   auto const entity = state_->portIs( name );
   bool const isWantedByDryRun = writeGroupsOf( port, *entity );
   if ( view.condition == PortCondition::open && isWantedByDryRun )
      view.condition = PortCondition::dryRun;
   writeCondition( *entity, isNew || entity->since() == 0, view.condition, now_ );
   entity->meansIs( view.means );
   writeOrder( *entity, orders_.book().ports );
}

bool
StateWriter::writeGroupsOf( Kelnet::IntfId port, PortState& entity ) const {
   static Names const none;
   auto const at = groupsOfPort_.find( port );
   Names const& groups = at == groupsOfPort_.end() ? none : at->second;
   bool isWantedByDryRun = false;
   for ( Zet::Name const& group : groups ) {
      GroupDecision const& decision = detector_.decisions().of( group );
      bool const wantsShut = decision.wantsShut( port );
      entity.groupIs( group, wantsShut );
      isWantedByDryRun |= wantsShut && decision.stance() == GroupMode::dryRun;
   }
   if ( entity.groupMembers().count() != groups.size() )
      for ( Zet::Name const& group :
            keysOf( entity.groupMembers(), [ & ]( Zet::Name const& known ) {
               return std::ranges::find( groups, known ) == groups.end();
            } ) )
         entity.groupDel( group );
   return isWantedByDryRun;
}

void
StateWriter::writeCounters() {
   state_->overrunsIs( overruns_ );
   state_->foundByAskingIs( carrierWatch_.found() );
   state_->actsIs( acts_ );
   state_->failedActsIs( failedActs_ );
   state_->openActsIs( openActs_ );
   state_->failedOpenActsIs( failedOpenActs_ );
   state_->isRecordedIs( portControl_.isRecorded() );
}

} // namespace Ufdd
