#include "agent/detect/Verdicts.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace Ufdd {

using UplinkFailureDetection::Config;
using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::Status;

namespace {

// "2.5 s", "86400 s"
std::string
seconds( double time ) {
   char text[ 32 ];
   std::snprintf( text, sizeof text, time < 100 ? "%.3g s" : "%.0f s", time );
   return text;
}

} // namespace

Verdicts::Verdicts( Zet::Ptr< Config > const& config, Zet::Ptr< Status > const& status, Log& log )
    : config_( *config ), log_( log ), transitions_( status, *this ) {}

bool
Verdicts::policyIs( Zet::Name const& group, GroupPolicy const& policy ) {
   auto const at = groups_.try_emplace( group ).first;
   open( at );
   return std::exchange( at->second.policy, policy ) == policy;
}

bool
Verdicts::isDryRun( Zet::Name const& group ) const {
   auto const at = groups_.find( group );
   return at != groups_.end() && at->second.policy.dryRun;
}

void
Verdicts::assumeDown( Zet::Name const& group, std::vector< Kelnet::IntfId > ports ) {
   Verdict& verdict = groups_[ group ];
   verdict.isDown = true;
   verdict.only = std::move( ports );
}

bool
Verdicts::Verdict::holds( Kelnet::IntfId port ) const {
   return !only || std::find( only->begin(), only->end(), port ) != only->end();
}

template < class Action >
void
Verdicts::forEachPort( GroupConfig const& group, Verdict const& verdict, Action action ) {
   for ( auto port = group.intfsToDisableIteratorConst(); port; ++port )
      if ( verdict.holds( port.key() ) )
         action( port.key() );
}

void
Verdicts::handleTransition( Zet::Name const& group, LinkStatus before, LinkStatus now ) {
   downGroups_ += now == LinkStatus::down;
   downGroups_ -= before == LinkStatus::down;
   auto const at = groups_.try_emplace( group ).first;
   Verdict& verdict = at->second;
   verdict.seen = now;
   verdict.since = Zet::now();
   if ( auto const config = config_.group( group );
        config && verdict.isDown && now == LinkStatus::up && !verdict.only ) {
      std::vector< Kelnet::IntfId > held;
      forEachPort( *config, verdict, [ & ]( Kelnet::IntfId port ) { held.push_back( port ); } );
      verdict.only = std::move( held );
   }
   open( at );
}

void
Verdicts::handleGroupGone( Zet::Name const& group ) {
   auto const at = groups_.find( group );
   if ( at == groups_.end() )
      return;
   downGroups_ -= at->second.sawDown();
   std::erase( open_, at );
   groups_.erase( at );
}

void
Verdicts::open( Groups::iterator group ) {
   if ( !std::exchange( group->second.isOpen, true ) )
      open_.push_back( group );
}

void
Verdicts::handleConfigured() {
   Holds const before = std::exchange( holds_, {} );
   for ( auto const& [ name, verdict ] : groups_ )
      if ( auto const group = config_.group( name );
           group && verdict.isDown && !verdict.policy.dryRun )
         forEachPort( *group, verdict, [ this ]( Kelnet::IntfId port ) { ++holds_[ port ]; } );
   for ( auto const* const holds : { &before, &std::as_const( holds_ ) } )
      for ( auto const& [ port, times ] : *holds )
         if ( before.contains( port ) != holds_.contains( port ) )
            changed_.push_back( port );
}

void
Verdicts::evaluate() {
   if ( open_.empty() )
      return;
   double const now = Zet::now();
   std::erase_if( open_, [ & ]( Groups::iterator group ) {
      group->second.isOpen = !evaluate( group, now );
      return !group->second.isOpen;
   } );
}

bool
Verdicts::evaluate( Groups::iterator group, double now ) {
   auto& [ name, verdict ] = *group;
   bool const wasTold = std::exchange( verdict.isTold, false );
   if ( !verdict.disagrees() ) {
      if ( verdict.sawDown() && verdict.only )
         holdAll( name, verdict );
      if ( wasTold )
         line( name, std::string( verdict.isDown ? "was up" : "was down" ) + " for only " +
                         seconds( verdict.since - verdict.openSince ) + ", hidden by " +
                         ( verdict.isDown ? "recovery_delay" : "down_delay" ) + " (" +
                         std::to_string( ++verdict.hidden ) + " times so far)" );
      return true;
   }
   if ( now >= verdict.due() ) {
      reverse( name, verdict );
      return true;
   }
   bool const isAnew = wasTold && verdict.openSince != verdict.since;
   verdict.hidden += isAnew;
   if ( !wasTold || isAnew )
      line( name, std::string( verdict.sawDown() ? "down_delay: its ports are shut"
                                                 : "recovery_delay: its ports are released" ) +
                      " in " + seconds( verdict.due() - now ) + " unless it is " +
                      ( verdict.sawDown() ? "up" : "down" ) + " again before" );
   verdict.isTold = true;
   verdict.openSince = verdict.since;
   return false;
}

void
Verdicts::holdAll( Zet::Name const& name, Verdict& verdict ) {
   bool holdsMore = false;
   if ( auto const group = config_.group( name ) )
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         holdsMore |= !verdict.holds( port.key() );
   verdict.only.reset();
   if ( holdsMore )
      handleConfigured();
}

void
Verdicts::reverse( Zet::Name const& name, Verdict& verdict ) {
   verdict.isDown = !verdict.isDown;
   ++count_;
   Zet::Ptr< GroupConfig const > const group = config_.group( name );
   if ( !group )
      return;
   std::string ports;
   forEachPort( *group, verdict, [ & ]( Kelnet::IntfId port ) {
      if ( verdict.policy.dryRun ) {
         ports += ' ' + std::string( port.name().view() );
         return;
      }
      changed_.push_back( port );
      if ( verdict.isDown )
         ++holds_[ port ];
      else if ( auto const at = holds_.find( port ); at != holds_.end() && --at->second == 0 )
         holds_.erase( at );
   } );
   verdict.only.reset();
   if ( verdict.policy.dryRun )
      line( name, std::string( "dry_run, else ports would be " ) +
                      ( verdict.isDown ? "shut" : "released" ) + " now:" + ports );
}

std::optional< double >
Verdicts::nextTime() const {
   std::optional< double > next;
   for ( Groups::iterator const group : open_ )
      if ( double const due = group->second.due();
           group->second.disagrees() && ( !next || due < *next ) )
         next = due;
   return next;
}

void
Verdicts::line( Zet::Name const& name, std::string const& text ) {
   log_.event( { .id = LogEvent::groupVerdict, .groups = { name.view() } },
               "group " + std::string( name.view() ) + ": " + text );
}

} // namespace Ufdd
