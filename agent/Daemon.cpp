#include "agent/Daemon.h"

#include "agent/base/HostShutdown.h"
#include "agent/base/WallTime.h"
#include "agent/control/ControlSocket.h"
#include "platform/zet/Clock.h"
#include "platform/zet/NotificationFailure.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

constexpr double openingSeconds = 2.5;
constexpr double tellAgainPause = 1;
constexpr double recordCheckPause = 2;
constexpr double summaryPause = 0.1;

std::string
controlSocketOf( DaemonOptions const& options ) {
   return options.controlSocket.empty() ? controlSocketBeside( options.socket )
                                        : options.controlSocket;
}

} // namespace

Daemon::Daemon( DaemonOptions const& options, BufferedLog& log )
    : options_( options ), log_( log ), stateDirectory_( options.stateDirectory ),
      store_( stateDirectory_ ), bootStore_( stateDirectory_ ), orderStore_( stateDirectory_ ),
      claims_( log ), settings_( stateDirectory_ ), control_( [ this ] { manager_.alive(); } ),
      source_( loop_, options.receiveBuffer ), routes_( loop_ ),
      agent_( source_, routes_, control_, store_, settings_, bootStore_, orderStore_, log ),
      configurator_( options.configFile, agent_, claims_, stateDirectory_, log ),
      statusServer_( options.socket, agent_.roots(), log ),
      controlServer_( { controlSocketOf( options ), options.admins, options.reporters }, *this,
                      log ),
      wakeTimer_( loop_.timer< &Daemon::handleWakeTime >( *this ) ),
      watchdogTimer_( loop_.timer< &Daemon::handleWatchdogTime >( *this ) ),
      recordTimer_( loop_.timer< &Daemon::handleRecordTime >( *this ) ) {
   agent_.neighboursAre( neighbours_ );
   auto const state = agent_.roots().state;
   state->versionIs( options.version );
   state->revisionIs( options.revision );
   state->configFileIs( options.configFile );
   auto const [ now, wall ] = Moment::now();
   state->startTimeIs( now );
   state->startWallIs( wall );
   if ( !control_.allowed() )
      throw std::system_error( EPERM, std::generic_category(),
                               "can't shut ports without CAP_NET_ADMIN; start ufdd as root or "
                               "give it that capability" );
   loop_.onSignal< &Daemon::handleStop >( SIGTERM, *this );
   loop_.onSignal< &Daemon::handleStop >( SIGINT, *this );
   loop_.onSignal< &Daemon::handleLeave >( SIGUSR1, *this );
   loop_.onSignal< &Daemon::handleReload >( SIGHUP, *this );
   loop_.onSignal< &Daemon::handleStatus >( SIGUSR2, *this );
   loop_.onReadable< &Daemon::handleTick >( ticker_.fd(), *this );
   loop_.onReadableAtLeisure< &PortClaims::handleReady >( claims_.fd(), claims_ );
   loop_.onReadableAtLeisure< &StatusServer::handleReady >( statusServer_.fd(), statusServer_ );
   loop_.onReadableAtLeisure< &ControlServer::handleReady >( controlServer_.fd(), controlServer_ );
   loop_.onTurnEnd< &Daemon::handleTurnEnd >( *this );
   Zet::notificationFailureSinkIs( [ this ]( Zet::NotificationFailure const& failure ) {
      log_.event( { .id = LogEvent::fault },
                  "error in ufdd, please report it: " + std::string( failure.entity.view() ) + " " +
                      std::string( failure.attribute.view() ) + ": " +
                      std::string( failure.text.view() ) );
   } );
}

Daemon::~Daemon() {
   Zet::notificationFailureSinkIs( {} );
}

bool
Daemon::run( FirstConfig const& first ) {
   ConfigFile const& config = first.config;
   statusServer_.listen();
   controlServer_.listen();
   if ( std::vector< std::string > const others = claims_.add( portsOf( config ) );
        !others.empty() )
      throw std::runtime_error( others.front() );
   try {
      agent_.formerMayReturnIs( first.isPending );
      agent_.start( config );
      configurator_.start( first );
      log_.line( "watching " + std::to_string( config.groups.size() ) +
                 ( config.groups.size() == 1 ? " group" : " groups" ) );
      handleTurnEnd();
      manager_.ready();
      if ( manager_.watchdogPeriod() )
         handleWatchdogTime();
      handleRecordTime();
      loop_.run();
   } catch ( ... ) {
      // The next ufdd takes over our ports. If the service manager gives up, it starts a release.
      if ( !manager_.isThere() )
         openPorts();
      throw;
   }
   if ( !isLeaving_ )
      return openPorts();
   agent_.restoreAll( false );
   return true;
}

bool
Daemon::release() {
   // Without a configured reason, a marked port might be another program's.
   unsigned int reason = Link::noReason;
   if ( !options_.configFile.empty() ) {
      ConfigFile const config = readConfig( options_.configFile );
      for ( std::string const& error : config.errors )
         log_.line( error );
      if ( config.errors.empty() )
         reason = config.protoDownReason;
      else
         log_.line( "the configuration has the errors above; only the ports in the record are "
                    "opened" );
   }
   // Without groups, no port must be shut.
   ConfigFile nothing;
   nothing.protoDownReason = reason;
   agent_.start( nothing );
   return openPorts() && !agent_.hasUnreadRecord();
}

bool
Daemon::openPorts() {
   // Last chance: no later turn will retry.
   bool isDone = false;
   for ( double const end = Zet::now() + openingSeconds;
         !( isDone = agent_.openAll() ) && Zet::now() <= end; )
      waitToRetry();
   restorePorts();
   return isDone;
}

void
Daemon::restorePorts() {
   for ( double const end = Zet::now() + openingSeconds; !agent_.restoreAll( Zet::now() > end ); )
      waitToRetry();
}

void
Daemon::waitToRetry() {
   manager_.alive();
   std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
}

void
Daemon::handleTurnEnd() {
   agent_.endTurn();
   if ( configurator_.endTurn() )
      agent_.endTurn();
   while ( controlServer_.handleRequest() )
      agent_.endTurn();
   writeCounts();
   statusServer_.endTurn();
   controlServer_.endTurn();
   ticker_.intervalIs( agent_.tickMs() );
   tellSummary();
   if ( std::exchange( isAliveDue_, false ) )
      manager_.alive();
   bool const isLogged = log_.flush();
   bool const isTold = manager_.send();
   double const summary = isSummaryOld_ ? summaryTime_ : never;
   double const next = std::min( { agent_.nextTime(), configurator_.nextTime(),
                                   statusServer_.nextTime().value_or( never ),
                                   controlServer_.nextTime().value_or( never ), summary } );
   wakeAt( isLogged && isTold ? next : std::min( next, Zet::now() + tellAgainPause ) );
}

// Looks at all groups and ports, which takes a millisecond for some ten thousand: not in every
// turn.
void
Daemon::tellSummary() {
   isSummaryOld_ |= agent_.takeNews() && manager_.isThere();
   double const now = Zet::now();
   if ( !isSummaryOld_ || now < summaryTime_ )
      return;
   manager_.statusIs( agent_.summary() );
   isSummaryOld_ = false;
   summaryTime_ = now + summaryPause;
}

void
Daemon::writeCounts() {
   auto const state = agent_.roots().state;
   state->statusClientsIs( statusServer_.clientCount() );
   auto const& [ lines, dropped ] = log_.counts();
   for ( std::size_t level = 0; level < lines.size(); ++level )
      if ( unsigned int const count = lines[ level ]; count != logLines_[ level ] ) {
         logLines_[ level ] = count;
         state->logLinesIs( syslogLevels[ level ], count );
      }
   state->droppedLogLinesIs( dropped );
}

void
Daemon::wakeAt( double time ) {
   if ( time == never || time == wakeTime_ )
      return;
   wakeTimer_.fireAt( time );
   wakeTime_ = time;
}

bool
Daemon::handleTick() {
   ticker_.take();
   return agent_.handleTick();
}

// Only marks the report as due. A timer that fires proves nothing; a turn that ends proves that the
// daemon is alive.
void
Daemon::handleWatchdogTime() {
   isAliveDue_ = true;
   watchdogTimer_.fireAt( Zet::now() + static_cast< double >( manager_.watchdogPeriod() ) / 2e6 );
}

// Asks for the files every time. Notices of the kernel about changed directories would not tell
// when another file system covers /run.
void
Daemon::handleRecordTime() {
   agent_.checkRecord();
   configurator_.checkRecord();
   recordTimer_.fireAt( Zet::now() + recordCheckPause );
}

// Neighbours must not be invited to a host that is about to go.
void
Daemon::handleStop() {
   manager_.stopping();
   if ( isHostStopping() )
      leave( "the host is shutting down" );
   else
      loop_.exit();
}

bool
Daemon::isHostStopping() {
   try {
      return manager_.isThere() && Ufdd::isHostStopping();
   } catch ( std::system_error const& error ) {
      log_.line( std::string( error.what() ) + "; opening the ports as if it were not" );
      return false;
   }
}

void
Daemon::handleLeave() {
   manager_.stopping();
   leave( "stopping for the next ufdd" );
}

void
Daemon::leave( std::string const& why ) {
   log_.line( why + "; ports stay as they are" );
   isLeaving_ = true;
   loop_.exit();
}

void
Daemon::handleReload() {
   manager_.reloading();
   configurator_.reload();
   manager_.ready();
}

ControlReply
Daemon::handle( ControlRequest const& request ) {
   bool const isReload = request.verb == ControlRequest::Verb::reload;
   if ( !isReload && request.verb != ControlRequest::Verb::confirm )
      return agent_.handle( request );
   if ( isReload && !request.isDryRun )
      manager_.reloading();
   ControlReply const reply = configurator_.handle( request );
   if ( isReload && !request.isDryRun )
      manager_.ready();
   return reply;
}

void
Daemon::handleStatus() {
   log_.line( agent_.summary() );
   for ( std::string const& line : agent_.statusLines() )
      log_.line( line );
}

} // namespace Ufdd
