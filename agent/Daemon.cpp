#include "agent/Daemon.h"

#include "platform/zet/Clock.h"
#include "platform/zet/NotificationFailure.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

constexpr std::uint64_t troublePeriod = 1'000'000;
constexpr double serveAgainSeconds = 3;
constexpr double openingSeconds = 2.5;

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

Daemon::Daemon( DaemonOptions const& options, BufferedLog& log )
    : options_( options ), log_( log ), ownership_( options.stateDirectory ),
      control_( [ this ] { manager_.alive(); } ), source_( loop_, options.receiveBuffer ),
      agent_( control_, ownership_, log ), carrierWatch_( agent_.links(), source_ ),
      againTimer_( loop_.timer< &Daemon::handleAgainTime >( *this ) ),
      nextTimer_( loop_.timer< &Daemon::handleNextTime >( *this ) ),
      watchdogTimer_( loop_.timer< &Daemon::handleWatchdogTime >( *this ) ),
      statusTimer_( loop_.timer< &Daemon::handleStatusTime >( *this ) ),
      troubleTimer_( loop_.timer< &Daemon::handleTroubleTime >( *this ) ) {
   if ( !control_.allowed() )
      throw std::system_error( EPERM, std::generic_category(),
                               "can't set interfaces up or down without CAP_NET_ADMIN; start "
                               "ufdd as root or give it that capability" );
   loop_.onSignal< &Daemon::handleStop >( SIGTERM, *this );
   loop_.onSignal< &Daemon::handleStop >( SIGINT, *this );
   loop_.onSignal< &Daemon::handleLeave >( SIGUSR1, *this );
   loop_.onSignal< &Daemon::handleReload >( SIGHUP, *this );
   loop_.onSignal< &Daemon::handleStatus >( SIGUSR2, *this );
   loop_.onReadable< &Daemon::handleTick >( ticker_.fd(), *this );
   loop_.onTurnEnd< &Daemon::handleTurnEnd >( *this );
   Zet::notificationFailureSinkIs( [ this ]( Zet::NotificationFailure const& failure ) {
      log_.event( { .id = LogEvent::fault },
                  "fault in ufdd, please report it: " + std::string( failure.entity.view() ) + " " +
                      std::string( failure.attribute.view() ) + ": " +
                      std::string( failure.text.view() ) );
   } );
}

Daemon::~Daemon() {
   Zet::notificationFailureSinkIs( {} );
}

bool
Daemon::run( ConfigFile const& config ) {
   serveStatus();
   try {
      tellWarnings( config );
      agent_.protoDownReasonIs( config.protoDownReason );
      startupHold_ = config.startupHold;
      agent_.start( config.groups, source_, startupHold_ );
      watchUplinks( config );
      log_.line( "watching " + std::to_string( config.groups.size() ) +
                 ( config.groups.size() == 1 ? " group" : " groups" ) );
      handleTurnEnd();
      manager_.ready();
      if ( manager_.watchdogPeriod() )
         handleWatchdogTime();
      loop_.run();
   } catch ( ... ) {
      // The next one takes over what is shut; where the service manager gives up, it releases that.
      if ( !manager_.isThere() )
         openPorts();
      throw;
   }
   return isLeaving_ || openPorts();
}

bool
Daemon::release() {
   // The mark of a guess may be another program's.
   unsigned int reason = Link::noReason;
   if ( !options_.configFile.empty() ) {
      ConfigFile const config = readConfig( options_.configFile );
      for ( std::string const& error : config.errors )
         log_.line( error );
      if ( config.errors.empty() )
         reason = config.protoDownReason;
      else
         log_.line( "only the ports that are remembered are opened: the configuration is wrong" );
   }
   agent_.protoDownReasonIs( reason );
   // Without groups, nothing is to be held.
   agent_.start( {}, source_ );
   return openPorts();
}

bool
Daemon::openPorts() {
   // Nobody comes back to it later.
   for ( double const end = Zet::now() + openingSeconds; !agent_.release(); ) {
      if ( Zet::now() > end )
         return false;
      manager_.alive();
      std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
   }
   return true;
}

void
Daemon::handleTurnEnd() {
   if ( !source_.settle() )
      tryAgainLater();
   tellTroubles();
   if ( int const error = source_.takeAskError();
        error && std::exchange( toldAskError_, error ) != error )
      log_.event( { .id = LogEvent::trouble },
                  "can't ask the kernel how uplinks are: " + std::string( std::strerror( error ) ) +
                      "; a loss may be noticed a second late" );
   // What is known already does not wait for what is asked for.
   agent_.settle();
   if ( source_.takeNews() ) {
      carrierWatch_.handleNews();
      agent_.settle();
   }
   serveStatus();
   if ( statusServer_ )
      statusServer_->settle();
   else
      tryAgainLater();
   setTimers();
   manager_.statusIs( agent_.summary() + remark_ );
   log_.flush();
   if ( std::exchange( isAliveDue_, false ) )
      manager_.alive();
   if ( !manager_.settle() )
      tryAgainLater();
}

void
Daemon::tryAgainLater() {
   if ( !std::exchange( againTimerOn_, true ) )
      againTimer_.fireIn( 1'000'000 );
}

void
Daemon::serveStatus() {
   if ( statusServer_ || Zet::now() < serveAgainAt_ )
      return;
   bool const isFirst = serveAgainAt_ == 0;
   serveAgainAt_ = Zet::now() + serveAgainSeconds;
   try {
      statusServer_.emplace( options_.socket, agent_.status(), log_ );
      loop_.onReadableAtLeisure< &StatusServer::handleReady >( statusServer_->fd(),
                                                               *statusServer_ );
      if ( !isFirst )
         log_.line( "status: served on " + options_.socket + " now" );
   } catch ( std::system_error const& error ) {
      statusServer_.reset();
      if ( isFirst && error.code() == std::errc::address_in_use )
         throw;
      if ( std::exchange( serveError_, error.what() ) != error.what() )
         log_.event( { .id = LogEvent::trouble },
                     "status: not served, it tries again every few seconds; ufdctl can't show it, "
                     "ports are watched all the same: " +
                         serveError_ );
   }
}

// A storm brings many.
void
Daemon::tellTroubles() {
   if ( std::string trouble = source_.takeTrouble(); !trouble.empty() ) {
      trouble_ = std::move( trouble );
      ++troubles_;
   }
   if ( troubles_ == 0 || troubleTimerOn_ )
      return;
   log_.event(
       { .id = LogEvent::trouble },
       trouble_ + ": all links are read again" +
           ( troubles_ == 1 ? "" : ", " + std::to_string( troubles_ ) + " times in a second" ) );
   troubles_ = 0;
   troubleTimer_.fireIn( troublePeriod );
   troubleTimerOn_ = true;
}

void
Daemon::setTimers() {
   ticker_.intervalIs( carrierWatch_.tickMs() );
   auto const next = agent_.nextTime();
   if ( next && next != nextTime_ ) {
      // Rounded up: a timer that fires too early finds nothing to do.
      double const seconds = std::max( *next - Zet::now(), 0.0 );
      nextTimer_.fireIn( static_cast< std::uint64_t >( seconds * 1e6 ) + 1 );
      nextTime_ = next;
   }
   if ( !statusServer_ )
      return;
   if ( auto const due = statusServer_->dueIn(); due && !statusTimerOn_ ) {
      // Rounded up, for the limit to have passed.
      statusTimer_.fireIn( static_cast< std::uint64_t >( *due * 1e6 ) + 1 );
      statusTimerOn_ = true;
   }
}

void
Daemon::handleTick() {
   ticker_.take();
   carrierWatch_.handleTick();
}

// That a timer fires is no proof of life; the end of the turn that it begins is.
void
Daemon::handleWatchdogTime() {
   isAliveDue_ = true;
   watchdogTimer_.fireIn( manager_.watchdogPeriod() / 2 );
}

void
Daemon::handleStop() {
   manager_.stopping();
   loop_.exit();
}

void
Daemon::handleLeave() {
   log_.line( "making room for the next ufdd: ports stay as they are" );
   isLeaving_ = true;
   handleStop();
}

void
Daemon::handleReload() {
   manager_.reloading();
   ConfigFile config = readConfigOfThisMachine( options_.configFile );
   // More likely a file that was cut short than the wish that every port be opened.
   if ( config.groups.empty() && config.errors.empty() )
      config.errors.push_back( options_.configFile +
                               ": there is no [[group]]; to watch nothing, stop ufdd" );
   LogEvent const about{ .id = LogEvent::configuration };
   if ( config.errors.empty() ) {
      tellWarnings( config );
      if ( std::exchange( startupHold_, config.startupHold ) != config.startupHold )
         log_.event( about, "startup_hold has changed: that takes effect at the next start" );
      agent_.protoDownReasonIs( config.protoDownReason );
      auto const [ added, changed, removed ] = agent_.reload( config.groups );
      watchUplinks( config );
      log_.event( about, "configuration loaded: groups added " + std::to_string( added ) +
                             ", changed " + std::to_string( changed ) + ", removed " +
                             std::to_string( removed ) );
      remark_.clear();
   } else {
      for ( std::string const& error : config.errors )
         log_.event( about, error );
      log_.event( about, "configuration not loaded, the one before stays: the new one is wrong" );
      remark_ = "; " + options_.configFile + " is wrong and was not loaded";
   }
   manager_.ready();
}

void
Daemon::watchUplinks( ConfigFile const& config ) {
   carrierWatch_.uplinksAre( uplinksOf( config.groups ) );
   carrierWatch_.settingsAre( config.detection );
}

void
Daemon::handleStatus() {
   log_.line( agent_.summary() );
   for ( std::string const& line : agent_.statusLines() )
      log_.line( line );
}

void
Daemon::tellWarnings( ConfigFile const& config ) {
   for ( std::string const& warning : config.warnings )
      log_.event( { .id = LogEvent::configuration }, warning );
}

} // namespace Ufdd
