#include "agent/detect/GroupDecisions.h"

#include "model/GroupConfig.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::Config;
using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::Status;

GroupDecisions::GroupDecisions( Zet::Ptr< Config > const& config, Zet::Ptr< Status > const& status,
                                Zet::Ptr< Interface::EthIntfStatusDir > const& directory,
                                BootHistory& history )
    : config_( *config ), directory_( *directory ), history_( history ),
      portDecisions_( config, *this, directory ), transitions_( status, *this ) {}

bool
GroupDecisions::policyIs( Zet::Name const& group, GroupPolicy const& policy,
                          unsigned int minLinks ) {
   auto const at = groups_.try_emplace( group ).first;
   review( at );
   Decision& decision = at->second;
   decision.recoveryDelay.configure( policy.recoveryDelay, policy.recoveryDelayMax );
   // Its ports may have changed.
   haveLatchesChanged_ |= decision.isLatched;
   if ( decision.policy == policy && decision.minLinks == minLinks )
      return false;
   decision.policy = policy;
   decision.minLinks = minLinks;
   decision.mustRecover |= history_.hasFallen( group );
   history_.hasFallenIs( group, decision.mustRecover && decision.hasHysteresis() );
   handleStance( at );
   return true;
}

void
GroupDecisions::handleStance( Groups::iterator group ) {
   auto& [ name, decision ] = *group;
   groupsOrderedDown_ -= decision.stance == GroupMode::orderedDown;
   decision.stance = decision.policy.mode( decision.order );
   groupsOrderedDown_ += decision.stance == GroupMode::orderedDown;
   updateLatch( decision );
   review( group );
   portDecisions_.decideAgain( name );
}

void
GroupDecisions::ordersAre( OrderBook const& book ) {
   orderedPorts_.clear();
   for ( auto const& [ port, order ] : book.ports )
      orderedPorts_.emplace( port, order.isForced );
   for ( auto const& [ group, order ] : book.groups )
      groups_.try_emplace( Zet::Name( group ) );
   for ( auto at = groups_.begin(); at != groups_.end(); ++at ) {
      auto const order = book.groups.find( at->first.view() );
      bool const isOrdered = order != book.groups.end();
      at->second.order = isOrdered ? order->second.kind : OrderKind::none;
      at->second.isForced = isOrdered && order->second.isForced;
      handleStance( at );
   }
}

GroupMode
GroupDecisions::stanceUnder( OrderBook const& book, Zet::Name const& name,
                             Decision const& decision ) const {
   return decision.policy.mode( book.ofGroup( name.view() ) );
}

template < class Visit >
void
GroupDecisions::forEachGroupOf( Kelnet::IntfId port, Visit visit ) const {
   for ( auto const& [ name, decision ] : groups_ )
      if ( auto const group = config_.group( name ); group && group->intfsToDisable( port ) )
         visit( name, decision );
}

bool
GroupDecisions::wouldBeShut( Kelnet::IntfId port, OrderBook const& book ) const {
   bool isShut = book.ports.contains( port.name().view() );
   forEachGroupOf( port, [ & ]( Zet::Name const& name, Decision const& decision ) {
      isShut |= decision.shuts( port, stanceUnder( book, name, decision ) );
   } );
   return isShut;
}

bool
GroupDecisions::wouldBeOrderedDown( Kelnet::IntfId port, OrderBook const& book ) const {
   bool isOrdered = book.ports.contains( port.name().view() );
   forEachGroupOf( port, [ & ]( Zet::Name const& name, Decision const& decision ) {
      isOrdered |= stanceUnder( book, name, decision ) == GroupMode::orderedDown;
   } );
   return isOrdered;
}

bool
GroupDecisions::isOrderedDown( Kelnet::IntfId port ) const {
   // Most often nothing is.
   if ( orderedPorts_.empty() && groupsOrderedDown_ == 0 )
      return false;
   bool isOrdered = orderedPorts_.contains( port );
   forEachGroupOf( port, [ & ]( Zet::Name const&, Decision const& decision ) {
      isOrdered |= decision.stance == GroupMode::orderedDown;
   } );
   return isOrdered;
}

bool
GroupDecisions::isLatched( Kelnet::IntfId port ) const {
   unsigned int held = 0, others = 0;
   forEachGroupOf( port, [ & ]( Zet::Name const&, Decision const& decision ) {
      if ( decision.shuts( port ) )
         ++( decision.isHeldByLatch() ? held : others );
   } );
   return held > 0 && others == 0 && !isOrderedDown( port );
}

GroupMode
GroupDecisions::stanceOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at == groups_.end() ? GroupMode::acting : at->second.stance;
}

GroupPolicy const*
GroupDecisions::policyOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at == groups_.end() ? nullptr : &at->second.policy;
}

bool
GroupDecisions::allowsDefaultRoute( Kelnet::IntfId port ) const {
   if ( auto const order = orderedPorts_.find( port );
        order != orderedPorts_.end() && order->second )
      return true;
   return std::any_of( groups_.begin(), groups_.end(), [ & ]( auto const& entry ) {
      auto const& [ name, decision ] = entry;
      bool const isAllowed = decision.policy.allowDefaultRoute || decision.isForced;
      bool const hasReason = decision.stance == GroupMode::orderedDown ||
                             ( decision.sawDown() && !decision.isLeftAlone() );
      auto const group = isAllowed && hasReason ? config_.group( name ) : nullptr;
      return group && group->intfsToDisable( port ) && decision.shuts( port );
   } );
}

bool
GroupDecisions::isLeftAlone( Kelnet::IntfId port ) const {
   // Most often no group is, and ports wait to be shut.
   if ( std::ranges::none_of( inReview_,
                              []( Groups::iterator group ) {
                                 return group->second.isDown && !group->second.hasEvidence();
                              } ) ||
        isOrderedDown( port ) )
      return false;
   return std::ranges::all_of( groups_, [ & ]( auto const& entry ) {
      auto const& [ name, decision ] = entry;
      if ( !decision.isDown || !decision.hasEvidence() )
         return true;
      auto const group = config_.group( name );
      return !group || !group->intfsToDisable( port ) || !decision.shuts( port );
   } );
}

bool
GroupDecisions::isDown( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at != groups_.end() && at->second.isDown;
}

bool
GroupDecisions::wantsShut( Zet::Name const& group, Kelnet::IntfId port ) const {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return false;
   GroupMode const stance = at->second.stance;
   return at->second.shuts( port, stance == GroupMode::dryRun ? GroupMode::acting : stance );
}

double
GroupDecisions::sinceOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at == groups_.end() ? 0 : at->second.since;
}

GroupDecisions::Delays
GroupDecisions::delaysOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return {};
   return { at->second.policy.downDelay, at->second.recoveryDelay.seconds() };
}

GroupDecisions::Thresholds
GroupDecisions::thresholdsOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return {};
   Decision const& decision = at->second;
   return { decision.minLinks, decision.recoverLinks(),
            decision.mustRecover ? decision.recoverLinks() : decision.minLinks };
}

void
GroupDecisions::assumeDown( Zet::Name const& group, std::vector< Kelnet::IntfId > ports ) {
   Decision& decision = groups_[ group ];
   decision.isDown = true;
   decision.only = std::move( ports );
}

void
GroupDecisions::assumeLatched( Zet::Name const& group, std::vector< Kelnet::IntfId > ports ) {
   assumeDown( group, std::move( ports ) );
   // Unlike the held ports of other groups, this proves that it was decided to be down.
   groups_[ group ].isLatched = groups_[ group ].mustRecover = true;
}

// A group whose ports are shut since it is down is latched from then on.
void
GroupDecisions::updateLatch( Decision& decision ) {
   bool const before = decision.isLatched;
   if ( !decision.latches() )
      decision.isLatched = false;
   else if ( decision.isDown && decision.sawDown() && !decision.isLeftAlone() )
      decision.isLatched = true;
   if ( !decision.isLatched )
      decision.cleared.clear();
   haveLatchesChanged_ |= decision.isLatched != before;
}

void
GroupDecisions::clearLatches( Kelnet::IntfId port ) {
   for ( auto const& [ name, decision ] : groups_ )
      if ( decision.isLatched )
         clearLatch( name, port );
}

void
GroupDecisions::clearLatch( Zet::Name const& name, Kelnet::IntfId port ) {
   auto const at = groups_.find( name );
   auto const group = config_.group( name );
   if ( at == groups_.end() || !group || !group->intfsToDisable( port ) )
      return;
   Decision& decision = at->second;
   haveLatchesChanged_ = true;
   if ( decision.seen != LinkStatus::up ) {
      decision.cleared.push_back( port );
      return;
   }
   if ( decision.only )
      std::erase( *decision.only, port );
   if ( decision.only && decision.only->empty() ) {
      reverse( at, Zet::now() );
      noteThreshold( at );
   }
   portDecisions_.decideAgain( name );
}

bool
GroupDecisions::keepsAny( Zet::Name const& name, Decision const& decision ) const {
   bool keeps = false;
   if ( auto const group = config_.group( name ) )
      for ( auto port = group->intfsToDisableIteratorConst(); port && !keeps; ++port )
         keeps = decision.covers( port.key() );
   return keeps;
}

OrderBook::Latches
GroupDecisions::latches() const {
   OrderBook::Latches latches;
   for ( auto const& [ name, decision ] : groups_ )
      if ( auto const group = config_.group( name ); group && decision.isLatched )
         for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
            if ( decision.covers( port.key() ) &&
                 std::ranges::find( decision.cleared, port.key() ) == decision.cleared.end() )
               latches.emplace( name.view(), port.key().name().view() );
   return latches;
}

bool
GroupDecisions::Decision::covers( Kelnet::IntfId port ) const {
   return !only || std::find( only->begin(), only->end(), port ) != only->end();
}

bool
GroupDecisions::shuts( GroupConfig const& group, Kelnet::IntfId port ) const {
   if ( orderedPorts_.contains( port ) )
      return true;
   auto const at = groups_.find( group.name() );
   return at != groups_.end() && at->second.shuts( port );
}

void
GroupDecisions::handleTransition( Zet::Name const& group, LinkStatus before, LinkStatus now ) {
   auto const at = groups_.try_emplace( group ).first;
   Decision& decision = at->second;
   decision.seen = now;
   decision.since = Zet::now();
   if ( auto const config = config_.group( group );
        config && decision.isDown && now == LinkStatus::up && !decision.only ) {
      decision.only.emplace();
      for ( auto port = config->intfsToDisableIteratorConst(); port; ++port )
         decision.only->push_back( port.key() );
   }
   if ( now == LinkStatus::up && before == LinkStatus::down && decision.isLatched )
      risen_.push_back( group );
   if ( now == LinkStatus::up && decision.only && !decision.cleared.empty() ) {
      std::erase_if( *decision.only, [ & ]( Kelnet::IntfId port ) {
         return std::ranges::find( decision.cleared, port ) != decision.cleared.end();
      } );
      decision.cleared.clear();
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
   groupsOrderedDown_ -= at->second.stance == GroupMode::orderedDown;
   haveLatchesChanged_ |= at->second.isLatched;
   std::erase( inReview_, at );
   std::erase( fallen_, at );
   std::erase( toMove_, at );
   history_.hasFallenIs( group, false );
   groups_.erase( at );
   portDecisions_.decideAgain( group );
}

void
GroupDecisions::review( Groups::iterator group ) {
   if ( !std::exchange( group->second.isInReview, true ) )
      inReview_.push_back( group );
}

void
GroupDecisions::evaluate() {
   evaluateAll( false );
}

void
GroupDecisions::confirmOpenings() {
   evaluateAll( true );
}

void
GroupDecisions::evaluateAll( bool confirmsOpenings ) {
   hasOpenings_ = false;
   if ( inReview_.empty() )
      return;
   double const now = Zet::now();
   std::erase_if( inReview_, [ & ]( Groups::iterator group ) {
      group->second.isInReview = !evaluate( group, now, confirmsOpenings );
      return !group->second.isInReview;
   } );
}

bool
GroupDecisions::evaluate( Groups::iterator group, double now, bool confirmsOpenings ) {
   auto& [ name, decision ] = *group;
   bool const wasTold = std::exchange( decision.isTold, false );
   bool const isConfirmed = std::exchange( decision.isOpening, false ) && confirmsOpenings;
   if ( decision.seen == LinkStatus::up )
      history_.handleUp( name );
   // No transition tells when a group with unproven uplinks is not left alone any more.
   Uplinks const uplinks = decision.sawDown() ? uplinksOf( name ) : Uplinks();
   bool const isDone = uplinks.unproven == 0;
   auto const before =
       std::exchange( decision.wait, holdOf( name, decision, uplinks, now ) ).reason;
   if ( decision.isLeftAlone() ) {
      leaveAlone( name, decision, before );
      return false;
   }
   if ( before == WaitReason::unproven && decision.sawDown() )
      decision.since = now;
   if ( !decision.disagrees() ) {
      settle( group, wasTold );
      noteThreshold( group );
      return isDone;
   }
   if ( decision.isLatched && !decision.sawDown() && !keepsAny( name, decision ) )
      decision.isLatched = false;
   if ( decision.isLatched && !decision.sawDown() ) {
      decision.wait = { WaitReason::latched };
      if ( before != WaitReason::latched )
         remarks_.push_back( { name, "auto_recover is false: its ports stay shut until an operator "
                                     "clears them: ufdctl clear " +
                                         std::string( name.view() ) } );
      return false;
   }
   if ( now >= decision.due() && !decision.sawDown() && awaitsRoutes( name, decision, now ) )
      return false;
   if ( now >= decision.due() && ( decision.sawDown() || isConfirmed ) ) {
      reverse( group, now );
      noteThreshold( group );
      return isDone;
   }
   decision.wait = { decision.sawDown() ? WaitReason::downDelay : WaitReason::recoveryDelay,
                     decision.due() };
   if ( now >= decision.due() ) {
      decision.isOpening = hasOpenings_ = true;
      decision.isTold = wasTold;
   } else {
      tellDelay( name, decision, now, wasTold );
   }
   return false;
}

bool
GroupDecisions::awaitsRoutes( Zet::Name const& name, Decision& decision, double now ) {
   auto const group = config_.group( name );
   if ( decision.policy.releaseWhen.empty() || !group || !readiness_ )
      return false;
   std::string const missing = readiness_->missing( *group, decision.policy );
   double const end = decision.due() + decision.policy.releaseTimeout;
   if ( missing.empty() )
      return false;
   if ( now >= end ) {
      if ( std::exchange( decision.toldTimeout, decision.since ) != decision.since )
         remarks_.push_back( { name, "release_timeout: its ports are opened, although there is no "
                                     "route that release_when names: " +
                                         missing } );
      return false;
   }
   if ( std::exchange( decision.toldAwaiting, decision.since ) != decision.since )
      remarks_.push_back(
          { name, "release_when: its ports are opened when these routes exist, or in " +
                      secondsText( end - now ) + ": " + missing } );
   decision.wait = { WaitReason::releaseWhen, end };
   return true;
}

GroupDecisions::Uplinks
GroupDecisions::uplinksOf( Zet::Name const& name ) const {
   Uplinks uplinks;
   auto const group = config_.group( name );
   if ( !group )
      return uplinks;
   for ( auto uplink = group->intfsToMonitorIteratorConst(); uplink; ++uplink )
      if ( auto const* const interface = directory_.intfStatus( uplink.key() ) )
         uplinks.up += interface->operStatus() == Interface::OperStatus::up;
      else
         uplinks.unproven += !history_.hasExisted( uplink.key() );
   return uplinks;
}

GroupWait
GroupDecisions::holdOf( Zet::Name const& name, Decision const& decision, Uplinks const& uplinks,
                        double now ) const {
   if ( !decision.sawDown() )
      return {};
   if ( double const end = history_.firstStart() + startupHold_;
        now < end && !history_.wasUp( name ) )
      return { WaitReason::startupHold, end };
   auto const group = config_.group( name );
   if ( group && uplinks.unproven > 0 && uplinks.up + uplinks.unproven >= group->minLinks() )
      return { WaitReason::unproven };
   return {};
}

void
GroupDecisions::leaveAlone( Zet::Name const& name, Decision& decision, WaitReason before ) {
   // Ports that a reload adds to the group stay open.
   if ( decision.isDown && !decision.only )
      decision.only = portDecisions_.shutBy( name );
   if ( decision.wait.reason == before )
      return;
   if ( decision.wait.reason == WaitReason::unproven )
      tellUnproven( name );
   else
      remarks_.push_back(
          { name, "startup_hold: its ports are left as they are until it is up, for " +
                      secondsText( decision.wait.until - Zet::now() ) + " at most" } );
}

void
GroupDecisions::tellUnproven( Zet::Name const& name ) {
   Remark remark{
      name, "its ports are left as they are: since the machine booted, no interface was called",
      LogEvent::groupAlarm
   };
   if ( auto const group = config_.group( name ) )
      for ( auto uplink = group->intfsToMonitorIteratorConst(); uplink; ++uplink )
         if ( !history_.hasExisted( uplink.key() ) ) {
            remark.text += ( remark.unproven.empty() ? " " : " or " ) +
                           std::string( uplink.key().name().view() );
            remark.unproven.push_back( uplink.key() );
         }
   remarks_.push_back( std::move( remark ) );
}

void
GroupDecisions::tellAbsentPorts( Zet::Name const& name ) {
   std::string absent;
   if ( auto const group = config_.group( name ) )
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         if ( !directory_.intfStatus( port.key() ) )
            absent.append( absent.empty() ? "" : ", " ).append( port.key().name().view() );
   if ( !absent.empty() )
      remarks_.push_back( { name,
                            "can't shut ports that do not exist: " + absent +
                                "; each is shut once it exists, unless the group is up by then",
                            LogEvent::groupAlarm } );
}

std::vector< GroupDecisions::Remark >
GroupDecisions::takeRemarks() {
   for ( Groups::iterator const group : std::exchange( fallen_, {} ) )
      if ( group->second.stance == GroupMode::acting )
         tellAbsentPorts( group->first );
   // The delays of a group whose ports are as ordered delay nothing.
   std::erase_if( remarks_, [ this ]( Remark const& remark ) {
      GroupMode const stance = stanceOf( remark.group );
      return stance == GroupMode::disabled || stance == GroupMode::orderedDown;
   } );
   return std::exchange( remarks_, {} );
}

void
GroupDecisions::settle( Groups::iterator group, bool wasTold ) {
   auto& [ name, decision ] = *group;
   if ( decision.sawDown() && std::exchange( decision.only, std::nullopt ) ) {
      decision.cleared.clear();
      updateLatch( decision );
      haveLatchesChanged_ |= decision.isLatched;
      portDecisions_.decideAgain( name );
      fallen_.push_back( group );
   }
   if ( wasTold )
      remarks_.push_back(
          { name, std::string( decision.isDown ? "was up" : "was down" ) + " for only " +
                      secondsText( decision.since - decision.reviewSince ) + ", hidden by " +
                      ( decision.isDown ? "recovery_delay" : "down_delay" ) + " (" +
                      std::to_string( ++decision.hidden ) + " so far)" } );
}

void
GroupDecisions::tellDelay( Zet::Name const& name, Decision& decision, double now, bool wasTold ) {
   bool const isAnew = wasTold && decision.reviewSince != decision.since;
   decision.hidden += isAnew;
   std::string const lengthened =
       decision.recoveryDelay.isLengthened()
           ? ", lengthened to " + secondsText( decision.recoveryDelay.seconds() )
           : "";
   if ( !wasTold || isAnew )
      remarks_.push_back(
          { name,
            ( decision.sawDown() ? "down_delay: its ports are shut"
                                 : "recovery_delay" + lengthened + ": its ports are opened" ) +
                " in " + secondsText( decision.due() - now ) + " unless it is " +
                ( decision.sawDown() ? "up" : "down" ) + " again before" } );
   decision.isTold = true;
   decision.reviewSince = decision.since;
}

void
GroupDecisions::reverse( Groups::iterator group, double now ) {
   auto& [ name, decision ] = *group;
   decision.isDown = !decision.isDown;
   if ( decision.isDown ) {
      decision.recoveryDelay.handleShut( decision.since );
      fallen_.push_back( group );
   } else {
      decision.recoveryDelay.handleOpened( now );
   }
   if ( decision.stance == GroupMode::dryRun && config_.group( name ) )
      remarks_.push_back( { name, std::string( "dry_run, else ports would be " ) +
                                      ( decision.isDown ? "shut" : "opened" ) +
                                      " now:" + portsText( name, decision ) } );
   decision.only.reset();
   decision.isLatched = false;
   updateLatch( decision );
   portDecisions_.decideAgain( name );
}

void
GroupDecisions::noteThreshold( Groups::iterator group ) {
   Decision& decision = group->second;
   if ( decision.seen == LinkStatus::unknown || decision.mustRecover == decision.isDown )
      return;
   decision.mustRecover = decision.isDown;
   if ( decision.hasHysteresis() )
      toMove_.push_back( group );
}

void
GroupDecisions::moveThresholds() {
   for ( Groups::iterator const group : toMove_ ) {
      history_.hasFallenIs( group->first, group->second.mustRecover );
      if ( auto const config = config_.group( group->first ) )
         config->minLinksIs( thresholdsOf( group->first ).now );
   }
   toMove_.clear();
}

std::vector< Kelnet::IntfId >
GroupDecisions::uplinksToQuery() const {
   std::unordered_set< Kelnet::IntfId > ports;
   for ( Groups::iterator const group : inReview_ )
      if ( auto const config = config_.group( group->first ); config && group->second.isOpening )
         for ( auto port = config->intfsToDisableIteratorConst(); port; ++port )
            ports.insert( port.key() );
   std::unordered_set< Kelnet::IntfId > uplinks;
   for ( auto const& [ name, decision ] : groups_ ) {
      auto const config = config_.group( name );
      if ( !config || decision.sawDown() )
         continue;
      bool isConcerned = decision.isOpening;
      for ( auto port = config->intfsToDisableIteratorConst(); port && !isConcerned; ++port )
         isConcerned = ports.contains( port.key() );
      for ( auto uplink = config->intfsToMonitorIteratorConst(); uplink && isConcerned; ++uplink )
         if ( auto const* const interface = directory_.intfStatus( uplink.key() );
              interface && interface->operStatus() == Interface::OperStatus::up )
            uplinks.insert( uplink.key() );
   }
   return { uplinks.begin(), uplinks.end() };
}

std::string
GroupDecisions::portsText( Zet::Name const& name, Decision const& decision ) const {
   std::string text;
   if ( auto const group = config_.group( name ) )
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         if ( decision.covers( port.key() ) )
            text += ' ' + std::string( port.key().name().view() );
   return text;
}

double
GroupDecisions::nextTime() const {
   double next = never;
   for ( Groups::iterator const group : inReview_ )
      if ( !group->second.isOpening )
         next = std::min( next, group->second.wait.until );
   return next;
}

GroupWait
GroupDecisions::waitOf( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at == groups_.end() ? GroupWait() : at->second.wait;
}

} // namespace Ufdd
