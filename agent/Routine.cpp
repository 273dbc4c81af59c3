#include "agent/Routine.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

// Each once.
std::vector< Kelnet::IntfId >
uplinksOf( std::vector< GroupSettings > const& groups ) {
   std::set< Kelnet::IntfId > uplinks;
   for ( GroupSettings const& group : groups )
      for ( auto uplink = group.config->intfsToMonitorIteratorConst(); uplink; ++uplink )
         uplinks.insert( uplink.key() );
   return { uplinks.begin(), uplinks.end() };
}

} // namespace

void
Routine::start( ConfigFile const& config ) {
   startupHold_ = config.startupHold;
   prepare( config );
   agent_.start( config.groups, source_, startupHold_ );
   watchUplinks( config );
   log_.line( "watching " + std::to_string( config.groups.size() ) +
              ( config.groups.size() == 1 ? " group" : " groups" ) );
}

void
Routine::reload( ConfigFile config, std::string const& file ) {
   LogEvent const about{ .id = LogEvent::configuration };
   // More likely a file that was cut short than the wish that every port be opened.
   if ( config.groups.empty() && config.errors.empty() )
      config.errors.push_back( file + ": there is no [[group]]; to watch nothing, stop ufdd" );
   if ( !config.errors.empty() ) {
      for ( std::string const& error : config.errors )
         log_.event( about, error );
      log_.event( about, "configuration not loaded, the one before stays: the new one is wrong" );
      remark_ = "; " + file + " is wrong and was not loaded";
      return;
   }
   if ( std::exchange( startupHold_, config.startupHold ) != config.startupHold )
      log_.event( about, "startup_hold has changed: that takes effect at the next start" );
   prepare( config );
   auto const [ added, changed, removed ] = agent_.reload( config.groups );
   watchUplinks( config );
   log_.event( about, "configuration loaded: groups added " + std::to_string( added ) +
                          ", changed " + std::to_string( changed ) + ", removed " +
                          std::to_string( removed ) );
   remark_.clear();
}

void
Routine::prepare( ConfigFile const& config ) {
   for ( std::string const& warning : config.warnings )
      log_.event( { .id = LogEvent::configuration }, warning );
   agent_.protoDownReasonIs( config.protoDownReason );
}

void
Routine::watchUplinks( ConfigFile const& config ) {
   carrierWatch_.uplinksAre( uplinksOf( config.groups ) );
   carrierWatch_.settingsAre( config.detection );
}

void
Routine::settle() {
   readAgainAt_ = source_.endTurn() ? never : Zet::now() + readAgainPause;
   if ( std::string trouble = source_.takeTrouble(); !trouble.empty() )
      troubles_.add( std::move( trouble ) );
   troubles_.report();
   // What is known already does not wait for what is asked for.
   agent_.settle();
   if ( source_.tookMessages() ) {
      carrierWatch_.handleMessages();
      agent_.settle();
   }
   statusServer_.settle();
}

double
Routine::nextTime() const {
   return std::min( { agent_.nextTime().value_or( never ),
                      statusServer_.nextTime().value_or( never ),
                      troubles_.nextTime().value_or( never ), readAgainAt_ } );
}

} // namespace Ufdd
