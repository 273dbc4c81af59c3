#include "agent/detect/GroupDecisions.h"

#include "model/GroupConfig.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <unordered_set>

namespace Ufdd {

using UplinkFailureDetection::Config;
using UplinkFailureDetection::Status;

GroupDecisions::GroupDecisions( Zet::Ptr< Config > const& config, Zet::Ptr< Status > const& status,
                                Zet::Ptr< Interface::EthIntfStatusDir > const& directory,
                                BootHistory& history )
    : config_( *config ), directory_( *directory ), history_( history ),
      evidence_( directory_, history ), remarks_( directory_, history ),
      reasons_( config_, groups_, inReview_ ), portDecisions_( config, reasons_, directory ),
      transitions_( status, *this ) {}

GroupDecision const&
GroupDecisions::of( Zet::Name const& group ) const {
   static GroupDecision const none;
   auto const at = groups_.find( group );
   return at == groups_.end() ? none : at->second;
}

bool
GroupDecisions::policyIs( Zet::Name const& group, GroupPolicy const& policy,
                          unsigned int minLinks ) {
   auto const at = groups_.try_emplace( group ).first;
   GroupDecision& decision = at->second;
   bool const wasLatched = decision.isLatched();
   // Its ports may have changed.
   haveLatchesChanged_ |= wasLatched;
   review( at );
   if ( !decision.policyIs( policy, minLinks ) )
      return false;
   if ( history_.hasFallen( group ) )
      decision.setFallen();
   history_.hasFallenIs( group, decision.thresholds().now > minLinks );
   handleStance( at, wasLatched );
   return true;
}

void
GroupDecisions::ordersAre( OrderBook const& book ) {
   reasons_.ordersAre( book.ports );
   for ( auto const& [ group, order ] : book.groups )
      groups_.try_emplace( Zet::Name( group ) );
   for ( auto at = groups_.begin(); at != groups_.end(); ++at ) {
      bool const wasLatched = at->second.isLatched();
      auto const order = book.groups.find( at->first.view() );
      if ( order == book.groups.end() )
         at->second.orderIs( OrderKind::none, false );
      else
         at->second.orderIs( order->second.kind, order->second.isForced );
      handleStance( at, wasLatched );
   }
}

void
GroupDecisions::handleStance( Place group, bool wasLatched ) {
   haveLatchesChanged_ |= group->second.isLatched() != wasLatched;
   reasons_.handleStance( group );
   review( group );
   portDecisions_.decideAgain( group->first );
}

void
GroupDecisions::unlatch( Kelnet::IntfId port ) {
   for ( auto const& [ name, decision ] : groups_ )
      if ( decision.isLatched() )
         unlatch( name, port );
}

void
GroupDecisions::unlatch( Zet::Name const& group, Kelnet::IntfId port ) {
   auto const at = groups_.find( group );
   auto const config = config_.group( group );
   if ( at == groups_.end() || !config || !config->intfsToDisable( port ) )
      return;
   haveLatchesChanged_ = true;
   if ( at->second.unlatch( port ) ) {
      reverse( at, *config, Zet::now() );
      moveThreshold( at );
   }
   portDecisions_.decideAgain( group );
}

OrderBook::Latches
GroupDecisions::latches() const {
   OrderBook::Latches latches;
   for ( auto const& [ name, decision ] : groups_ )
      if ( auto const group = config_.group( name ); group && decision.isLatched() )
         for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
            if ( decision.latches( port.key() ) )
               latches.emplace( name.view(), port.key().name().view() );
   return latches;
}

void
GroupDecisions::handleTransition( Zet::Name const& group, GroupLinkStatus before,
                                  GroupLinkStatus now ) {
   auto const at = groups_.try_emplace( group ).first;
   if ( now == GroupLinkStatus::up && before == GroupLinkStatus::down && at->second.isLatched() )
      risen_.push_back( group );
   if ( at->second.seenIs( now, config_.group( group ).get() ) ) {
      haveLatchesChanged_ = true;
      portDecisions_.decideAgain( group );
   }
   review( at );
}

void
GroupDecisions::handleGroupGone( Zet::Name const& group ) {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return;
   haveLatchesChanged_ |= at->second.isLatched();
   for ( auto* const places : { &inReview_, &decidedDown_, &toMove_ } )
      std::erase( *places, at );
   reasons_.handleGone( at );
   remarks_.forget( group );
   history_.hasFallenIs( group, false );
   groups_.erase( at );
   portDecisions_.decideAgain( group );
}

void
GroupDecisions::review( Place group ) {
   if ( group->second.enterReview() )
      inReview_.push_back( group );
}

void
GroupDecisions::evaluateAll( bool confirmsOpenings ) {
   hasOpenings_ = false;
   if ( inReview_.empty() )
      return;
   double const now = Zet::now();
   std::erase_if( inReview_, [ & ]( Place group ) {
      bool const isDone = evaluate( group, now, confirmsOpenings );
      if ( isDone )
         group->second.leaveReview();
      return isDone;
   } );
}

bool
GroupDecisions::evaluate( Place group, double now, bool confirmsOpenings ) {
   auto& [ name, decision ] = *group;
   auto const config = config_.group( name );
   if ( !config )
      return true;
   if ( decision.seen() == GroupLinkStatus::up )
      history_.handleUp( name );
   auto const finding =
       decision.sawDown() ? evidence_.about( *config, now ) : FailureEvidence::Finding();
   GroupWait const before = decision.beginEvaluation( finding.leftAlone, now );
   if ( decision.wait().isLeftAlone() ) {
      // Ports that a reload adds to the group stay open.
      if ( decision.isDown() && decision.coversAll() )
         decision.coverOnly( portDecisions_.shutBy( name ) );
      if ( decision.wait().reason != before.reason )
         remarks_.addLeftAlone( *config, decision.wait(), now );
      return false;
   }
   if ( !decision.disagrees() )
      handleAgreement( group, *config, before );
   else if ( !reverseOrWait( group, *config, before, now, confirmsOpenings ) )
      return false;
   moveThreshold( group );
   // No transition tells when a group with unproven uplinks is not left alone any more.
   return !finding.mayChange;
}

void
GroupDecisions::handleAgreement( Place group, GroupConfig const& config, GroupWait const& before ) {
   auto& [ name, decision ] = *group;
   bool const wasLatched = decision.isLatched();
   bool const shutsMore = decision.handleAgreement();
   haveLatchesChanged_ |= decision.isLatched() && ( shutsMore || !wasLatched );
   if ( shutsMore ) {
      decidedDown_.push_back( group );
      portDecisions_.decideAgain( name );
   }
   if ( before.toldSince )
      remarks_.addHidden( config, decision, *before.toldSince );
}

bool
GroupDecisions::reverseOrWait( Place group, GroupConfig const& config, GroupWait const& before,
                               double now, bool confirmsOpenings ) {
   GroupDecision& decision = group->second;
   bool const isOpening = !decision.sawDown();
   bool const isDue = now >= decision.due();
   if ( isOpening && decision.staysLatched( config ) ) {
      decision.waitIs( { WaitReason::latched } );
      if ( before.reason != WaitReason::latched )
         remarks_.addLatched( config );
      return false;
   }
   if ( isOpening && isDue && awaitsRoutes( config, decision, now ) )
      return false;
   if ( isDue && ( !isOpening || ( before.isOpening && confirmsOpenings ) ) ) {
      reverse( group, config, now );
      return true;
   }
   if ( isDue )
      hasOpenings_ = true;
   else
      remarks_.addDelay( config, decision, before, now );
   decision.waitIs( { isOpening ? WaitReason::recoveryDelay : WaitReason::downDelay, decision.due(),
                      isDue, isDue ? before.toldSince : decision.since() } );
   return false;
}

bool
GroupDecisions::awaitsRoutes( GroupConfig const& config, GroupDecision& decision, double now ) {
   GroupPolicy const& policy = decision.policy();
   if ( policy.releaseWhen.empty() || !readiness_ )
      return false;
   std::string const missing = readiness_->missing( config, policy );
   if ( missing.empty() )
      return false;
   double const end = decision.due() + policy.releaseTimeout;
   remarks_.addAwaited( config, decision, missing, end, now );
   if ( now >= end )
      return false;
   decision.waitIs( { WaitReason::releaseWhen, end } );
   return true;
}

void
GroupDecisions::reverse( Place group, GroupConfig const& config, double now ) {
   auto& [ name, decision ] = *group;
   if ( decision.stance() == GroupMode::dryRun )
      remarks_.addDryRun( config, decision );
   decision.reverse( now );
   haveLatchesChanged_ |= decision.isLatched();
   if ( decision.isDown() )
      decidedDown_.push_back( group );
   portDecisions_.decideAgain( name );
}

void
GroupDecisions::moveThreshold( Place group ) {
   if ( group->second.moveThreshold() )
      toMove_.push_back( group );
}

void
GroupDecisions::moveThresholds() {
   for ( Place const group : toMove_ ) {
      auto const& [ name, decision ] = *group;
      history_.hasFallenIs( name, decision.hasFallen() );
      if ( auto const config = config_.group( name ) )
         config->minLinksIs( decision.thresholds().now );
   }
   toMove_.clear();
}

std::vector< Kelnet::IntfId >
GroupDecisions::uplinksToQuery() const {
   std::unordered_set< Kelnet::IntfId > ports;
   for ( Place const group : inReview_ )
      if ( auto const config = config_.group( group->first );
           config && group->second.wait().isOpening )
         for ( auto port = config->intfsToDisableIteratorConst(); port; ++port )
            ports.insert( port.key() );
   std::unordered_set< Kelnet::IntfId > uplinks;
   for ( auto const& [ name, decision ] : groups_ ) {
      auto const config = config_.group( name );
      if ( !config || decision.sawDown() )
         continue;
      bool isConcerned = decision.wait().isOpening;
      for ( auto port = config->intfsToDisableIteratorConst(); port && !isConcerned; ++port )
         isConcerned = ports.contains( port.key() );
      for ( auto uplink = config->intfsToMonitorIteratorConst(); uplink && isConcerned; ++uplink )
         if ( auto const* const interface = directory_.intfStatus( uplink.key() );
              interface && interface->operStatus() == Interface::OperStatus::up )
            uplinks.insert( uplink.key() );
   }
   return { uplinks.begin(), uplinks.end() };
}

double
GroupDecisions::nextTime() const {
   double next = never;
   for ( Place const group : inReview_ )
      if ( GroupWait const& wait = group->second.wait(); !wait.isOpening )
         next = std::min( next, wait.until );
   return next;
}

std::vector< DecisionRemarks::Remark >
GroupDecisions::takeRemarks() {
   for ( Place const group : std::exchange( decidedDown_, {} ) )
      if ( auto const config = config_.group( group->first );
           config && group->second.stance() == GroupMode::acting )
         remarks_.addAbsentPorts( *config );
   std::vector< DecisionRemarks::Remark > remarks = remarks_.take();
   // The delays of a group whose ports are as ordered delay nothing.
   std::erase_if( remarks, [ this ]( DecisionRemarks::Remark const& remark ) {
      GroupMode const stance = of( remark.group ).stance();
      return stance == GroupMode::disabled || stance == GroupMode::orderedDown;
   } );
   return remarks;
}

} // namespace Ufdd
