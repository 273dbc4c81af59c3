#include "agent/Agent.h"

#include "agent/base/WallTime.h"
#include "agent/reflected/Configuration.h"
#include "model/GroupStatus.h"
#include "platform/zet/Clock.h"

#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupStatus;

Agent::Agent( LinkControl& control, OwnedLinkStore& store, Log& log )
    : log_( log ), detector_( log_ ), links_( detector_.directory ),
      ports_( detector_, links_, control, store, log_ ), groupLog_( detector_, links_, log ) {
   log_.preludeIs( groupLog_ );
   links_.observerIs( ports_ );
}

void
Agent::start( std::vector< GroupSettings > const& groups, LinkSource& source, double startupHold ) {
   links_.watch( portsOf( groups ) );
   ports_.beginAdoption();
   source.start( links_ );
   // They may be dormant, and a port is not to be opened for a moment.
   if ( std::vector< std::uint32_t > const unsettled = links_.unsettled(); !unsettled.empty() )
      source.ask( unsettled );
   ports_.endAdoption();
   for ( GroupSettings const& group : groups )
      assumeHeld( group );
   detector_.configure( groups );
   detector_.start();
   if ( startupHold > 0 )
      startupEnd_ = Zet::now() + startupHold;
   settle();
}

Detector::Difference
Agent::reload( std::vector< GroupSettings > const& groups ) {
   std::vector< Kelnet::IntfId > const ports = portsOf( groups );
   links_.watch( ports );
   for ( GroupSettings const& group : groups )
      if ( !detector_.config->group( group.config->name() ) )
         assumeHeld( group );
   groupLog_.beginConfiguring();
   Detector::Difference const difference = detector_.configure( groups );
   groupLog_.endConfiguring();
   settle();
   links_.watchOnly( ports );
   return difference;
}

void
Agent::assumeHeld( GroupSettings const& group ) {
   std::vector< Kelnet::IntfId > ports;
   for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
      if ( ports_.isOurs( port.key() ) )
         ports.push_back( port.key() );
   if ( !ports.empty() )
      detector_.decisions.assumeDown( group.config->name(), std::move( ports ) );
}

void
Agent::settle() {
   settlePorts();
   groupLog_.settle( links_.changes() );
   links_.forgetChanges();
}

void
Agent::settlePorts() {
   detector_.decisions.evaluate();
   if ( startupEnd_ ) {
      if ( Zet::now() < *startupEnd_ )
         return;
      log_.line( "startup_hold is over; it hid " + std::to_string( detector_.decisions.count() ) +
                 " verdicts on groups" );
      startupEnd_.reset();
   }
   if ( retryTime_ && Zet::now() >= *retryTime_ ) {
      retryTime_.reset();
      ports_.retry();
   }
   ports_.settle();
   if ( !ports_.hasFailures() )
      retryTime_.reset();
   else if ( !retryTime_ )
      retryTime_ = Zet::now() + retrySeconds;
}

std::optional< double >
Agent::nextTime() const {
   auto next = detector_.decisions.nextTime();
   for ( auto const& time : { startupEnd_, retryTime_ } )
      if ( time && ( !next || *time < *next ) )
         next = time;
   return next;
}

std::vector< Kelnet::IntfId >
Agent::portsOf( std::vector< GroupSettings > const& groups ) {
   std::vector< Kelnet::IntfId > ports;
   for ( GroupSettings const& group : groups ) {
      for ( auto uplink = group.config->intfsToMonitorIteratorConst(); uplink; ++uplink )
         ports.push_back( uplink.key() );
      for ( auto port = group.config->intfsToDisableIteratorConst(); port; ++port )
         ports.push_back( port.key() );
   }
   return ports;
}

std::vector< std::string >
Agent::statusLines() const {
   std::vector< std::string > lines;
   for ( auto group = detector_.status->groupIteratorConst(); group; ++group ) {
      auto const config = detector_.config->group( group->name() );
      double const time = group->prevDisabledTime();
      lines.push_back(
          "group " + std::string( group->name().view() ) + ": " + scalarsText( *group ) +
          ( time > 0 ? "; last disabled " + localTime( Moment::now().wallAt( time ) ) : "" ) +
          "; uplinks: " + ( config ? detector_.uplinksOf( *config ) : "" ) );
   }
   return lines;
}

std::string
Agent::summary() const {
   std::size_t const groups = detector_.config->groupMembers().count();
   std::string const overridden = ports_.overridden();
   return std::to_string( groups ) + ( groups == 1 ? " group, " : " groups, " ) +
          std::to_string( detector_.decisions.downGroups() ) +
          " down; ports shut: " + std::to_string( ports_.count() ) +
          ( overridden.empty() ? "" : "; overridden:" + overridden );
}

} // namespace Ufdd
