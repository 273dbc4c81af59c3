#include "agent/Daemon.h"

#include "platform/zet/NotificationFailure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace Ufdd {

namespace {

constexpr std::uint64_t retryMicroseconds = 1'000'000;

// A terminal that goes ends the daemon as well, and so must not leave ports shut.
constexpr std::array endSignals{ SIGTERM, SIGINT, SIGHUP };

// Each once.
std::vector< Kelnet::IntfId >
uplinksOf( std::vector< GroupSettings > const& groups ) {
   std::set< Kelnet::IntfId > uplinks;
   for ( GroupSettings const& group : groups )
      for ( std::string const& name : group.monitor )
         uplinks.insert( Kelnet::IntfId( name ) );
   return { uplinks.begin(), uplinks.end() };
}

} // namespace

Daemon::Daemon( DaemonOptions const& options, StreamLog& log )
    : log_( log ), ownership_( options.stateDirectory ), source_( loop_, options.receiveBuffer ),
      agent_( control_, ownership_, log ), carrierWatch_( loop_, agent_.links(), source_ ),
      retryTimer_( loop_.timer< &Daemon::handleRetryTime >( *this ) ) {
   if ( !control_.allowed() )
      throw std::system_error( EPERM, std::generic_category(),
                               "can't set interfaces up or down without CAP_NET_ADMIN; start "
                               "ufdd as root or give it that capability" );
   for ( int const number : endSignals )
      loop_.onSignal< &Daemon::handleSignal >( number, *this );
   loop_.onTurnEnd< &Daemon::handleTurnEnd >( *this );
   Zet::notificationFailureSinkIs( [ this ]( Zet::NotificationFailure const& failure ) {
      log_.line( "fault in ufdd, please report it: " + std::string( failure.entity.view() ) + " " +
                 std::string( failure.attribute.view() ) + ": " +
                 std::string( failure.text.view() ) );
   } );
}

Daemon::~Daemon() {
   Zet::notificationFailureSinkIs( {} );
}

bool
Daemon::run( ConfigFile const& config ) {
   try {
      agent_.protoDownReasonIs( config.protoDownReason );
      agent_.start( config.groups, source_ );
      carrierWatch_.uplinksAre( uplinksOf( config.groups ) );
      carrierWatch_.settingsAre( config.detection );
      log_.line( "watching " + std::to_string( config.groups.size() ) +
                 ( config.groups.size() == 1 ? " group" : " groups" ) );
      handleTurnEnd();
      loop_.run();
   } catch ( ... ) {
      agent_.release();
      throw;
   }
   return agent_.release();
}

void
Daemon::handleTurnEnd() {
   if ( source_.takeLoss() )
      log_.line( "news of links were lost, there were too many at once: all links are read again" );
   if ( source_.takeNews() )
      carrierWatch_.handleNews();
   agent_.settle();
   if ( agent_.hasFailures() && !retryTimerOn_ ) {
      retryTimer_.fireIn( retryMicroseconds );
      retryTimerOn_ = true;
   }
   log_.flush();
}

void
Daemon::handleRetryTime() {
   retryTimerOn_ = false;
   agent_.retry();
}

void
Daemon::handleSignal() {
   loop_.exit();
}

} // namespace Ufdd
