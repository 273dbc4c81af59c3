#include "agent/detect/GroupDecisions.h"

#include "model/GroupConfig.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::Config;
using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::Status;

namespace {

// Returns a time for messages: "2.5 s", "86400 s".
std::string
seconds( double time ) {
   char text[ 32 ];
   std::snprintf( text, sizeof text, time < 100 ? "%.3g s" : "%.0f s", time );
   return text;
}

} // namespace

GroupDecisions::GroupDecisions( Zet::Ptr< Config > const& config, Zet::Ptr< Status > const& status,
                                Zet::Ptr< Interface::EthIntfStatusDir > const& directory )
    : config_( *config ), portDecisions_( config, *this, directory ),
      transitions_( status, *this ) {}

bool
GroupDecisions::policyIs( Zet::Name const& group, GroupPolicy const& policy ) {
   auto const at = groups_.try_emplace( group ).first;
   review( at );
   if ( at->second.policy == policy )
      return false;
   at->second.policy = policy;
   portDecisions_.decideAgain( group );
   return true;
}

bool
GroupDecisions::isDryRun( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at != groups_.end() && at->second.policy.dryRun;
}

void
GroupDecisions::assumeDown( Zet::Name const& group, std::vector< Kelnet::IntfId > ports ) {
   Decision& decision = groups_[ group ];
   decision.isDown = true;
   decision.only = std::move( ports );
}

bool
GroupDecisions::Decision::covers( Kelnet::IntfId port ) const {
   return !only || std::find( only->begin(), only->end(), port ) != only->end();
}

bool
GroupDecisions::shuts( GroupConfig const& group, Kelnet::IntfId port ) const {
   auto const at = groups_.find( group.name() );
   return at != groups_.end() && at->second.isDown && !at->second.policy.dryRun &&
          at->second.covers( port );
}

void
GroupDecisions::handleTransition( Zet::Name const& group, LinkStatus before, LinkStatus now ) {
   downGroups_ += now == LinkStatus::down;
   downGroups_ -= before == LinkStatus::down;
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
   review( at );
}

void
GroupDecisions::handleGroupGone( Zet::Name const& group ) {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return;
   downGroups_ -= at->second.sawDown();
   std::erase( inReview_, at );
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
   if ( inReview_.empty() )
      return;
   double const now = Zet::now();
   std::erase_if( inReview_, [ & ]( Groups::iterator group ) {
      group->second.isInReview = !evaluate( group, now );
      return !group->second.isInReview;
   } );
}

bool
GroupDecisions::evaluate( Groups::iterator group, double now ) {
   auto& [ name, decision ] = *group;
   bool const wasTold = std::exchange( decision.isTold, false );
   if ( !decision.disagrees() ) {
      if ( decision.sawDown() && std::exchange( decision.only, std::nullopt ) )
         portDecisions_.decideAgain( name );
      if ( wasTold )
         remarks_.push_back(
             { name, std::string( decision.isDown ? "was up" : "was down" ) + " for only " +
                         seconds( decision.since - decision.reviewSince ) + ", hidden by " +
                         ( decision.isDown ? "recovery_delay" : "down_delay" ) + " (" +
                         std::to_string( ++decision.hidden ) + " so far)" } );
      return true;
   }
   if ( now >= decision.due() ) {
      reverse( name, decision );
      return true;
   }
   bool const isAnew = wasTold && decision.reviewSince != decision.since;
   decision.hidden += isAnew;
   if ( !wasTold || isAnew )
      remarks_.push_back(
          { name, std::string( decision.sawDown() ? "down_delay: its ports are shut"
                                                  : "recovery_delay: its ports are opened" ) +
                      " in " + seconds( decision.due() - now ) + " unless it is " +
                      ( decision.sawDown() ? "up" : "down" ) + " again before" } );
   decision.isTold = true;
   decision.reviewSince = decision.since;
   return false;
}

void
GroupDecisions::reverse( Zet::Name const& name, Decision& decision ) {
   ++count_;
   decision.isDown = !decision.isDown;
   if ( decision.policy.dryRun && config_.group( name ) )
      remarks_.push_back( { name, std::string( "dry_run, else ports would be " ) +
                                      ( decision.isDown ? "shut" : "opened" ) +
                                      " now:" + portsText( name, decision ) } );
   decision.only.reset();
   portDecisions_.decideAgain( name );
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

std::optional< double >
GroupDecisions::nextTime() const {
   std::optional< double > next;
   for ( Groups::iterator const group : inReview_ )
      if ( double const due = group->second.due();
           group->second.disagrees() && ( !next || due < *next ) )
         next = due;
   return next;
}

} // namespace Ufdd
