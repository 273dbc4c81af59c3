#include "agent/detect/GroupDecision.h"

#include "platform/zet/Clock.h"

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;

namespace {

bool
contains( GroupDecision::Ports const& ports, Kelnet::IntfId port ) {
   return std::ranges::find( ports, port ) != ports.end();
}

} // namespace

bool
GroupDecision::policyIs( GroupPolicy const& policy, unsigned int minLinks ) {
   recoveryDelay_.configure( policy.recoveryDelay, policy.recoveryDelayMax );
   if ( policy_ == policy && minLinks_ == minLinks )
      return false;
   policy_ = policy;
   minLinks_ = minLinks;
   updateStance();
   return true;
}

void
GroupDecision::orderIs( OrderKind order, bool isForced ) {
   order_ = order;
   isForced_ = isForced;
   updateStance();
}

void
GroupDecision::updateStance() {
   stance_ = policy_.mode( order_ );
   if ( !mayLatch() )
      endLatch();
}

GroupMode
GroupDecision::mode() const {
   if ( stance_ != GroupMode::acting || !wait_.isLeftAlone() )
      return stance_;
   return wait_.reason == WaitReason::unproven ? GroupMode::unproven : GroupMode::startupHold;
}

void
GroupDecision::assumeDown( Ports ports ) {
   isDown_ = true;
   only_ = std::move( ports );
}

void
GroupDecision::assumeLatched( Ports ports ) {
   assumeDown( std::move( ports ) );
   // Unlike ports of other groups that are ours, this proves that it was decided to be down.
   isLatched_ = hasFallen_ = true;
}

bool
GroupDecision::seenIs( GroupLinkStatus seen, GroupConfig const* group ) {
   seen_ = seen;
   since_ = Zet::now();
   if ( seen != GroupLinkStatus::up )
      return false;
   if ( group && isDown_ && !only_ ) {
      only_.emplace();
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         only_->push_back( port.key() );
   }
   if ( !only_ || unlatched_.empty() )
      return false;
   std::erase_if( *only_, [ & ]( Kelnet::IntfId port ) { return contains( unlatched_, port ); } );
   unlatched_.clear();
   return true;
}

void
GroupDecision::reverse( double now ) {
   isDown_ = !isDown_;
   if ( isDown_ )
      recoveryDelay_.handleShut( since_ );
   else
      recoveryDelay_.handleOpened( now );
   only_.reset();
   endLatch();
   beginLatch();
}

bool
GroupDecision::handleAgreement() {
   beginLatch();
   if ( !sawDown() || !only_ )
      return false;
   only_.reset();
   unlatched_.clear();
   return true;
}

GroupWait
GroupDecision::beginEvaluation( GroupWait const& leftAlone, double now ) {
   GroupWait const before = std::exchange( wait_, leftAlone );
   // The down_delay begins with the evidence.
   if ( before.reason == WaitReason::unproven && sawDown() && !wait_.isLeftAlone() )
      since_ = now;
   return before;
}

// A group whose ports are shut since it is down is latched from then on.
void
GroupDecision::beginLatch() {
   isLatched_ |= mayLatch() && isDown_ && sawDown() && !wait_.isLeftAlone();
}

void
GroupDecision::endLatch() {
   isLatched_ = false;
   unlatched_.clear();
}

bool
GroupDecision::latches( Kelnet::IntfId port ) const {
   return isLatched_ && covers( port ) && !contains( unlatched_, port );
}

bool
GroupDecision::unlatch( Kelnet::IntfId port ) {
   if ( seen_ != GroupLinkStatus::up ) {
      unlatched_.push_back( port );
      return false;
   }
   if ( only_ )
      std::erase( *only_, port );
   return only_ && only_->empty();
}

bool
GroupDecision::staysLatched( GroupConfig const& group ) {
   bool keepsAny = false;
   for ( auto port = group.intfsToDisableIteratorConst(); isLatched_ && port && !keepsAny; ++port )
      keepsAny = covers( port.key() );
   return isLatched_ = keepsAny;
}

GroupDecision::Thresholds
GroupDecision::thresholds() const {
   unsigned int const recover = std::max( minLinks_, policy_.recoverLinks );
   return { minLinks_, recover, hasFallen_ ? recover : minLinks_ };
}

bool
GroupDecision::moveThreshold() {
   if ( seen_ == GroupLinkStatus::unknown || hasFallen_ == isDown_ )
      return false;
   hasFallen_ = isDown_;
   return thresholds().recover > thresholds().stay;
}

} // namespace Ufdd
