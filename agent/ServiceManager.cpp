#include "agent/ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <ctime>

namespace Ufdd {

ServiceManager::ServiceManager() {
   if ( sd_watchdog_enabled( 0, &watchdogPeriod_ ) <= 0 )
      watchdogPeriod_ = 0;
}

void
ServiceManager::ready() {
   sd_notify( 0, "READY=1" );
}

void
ServiceManager::reloading() {
   timespec now{};
   clock_gettime( CLOCK_MONOTONIC, &now );
   sd_notifyf( 0, "RELOADING=1\nMONOTONIC_USEC=%lld",
               static_cast< long long >( now.tv_sec ) * 1'000'000 + now.tv_nsec / 1000 );
}

void
ServiceManager::stopping() {
   sd_notify( 0, "STOPPING=1" );
}

void
ServiceManager::statusIs( std::string const& status ) {
   if ( status == status_ )
      return;
   status_ = status;
   sd_notify( 0, ( "STATUS=" + status ).c_str() );
}

void
ServiceManager::alive() {
   sd_notify( 0, "WATCHDOG=1" );
}

} // namespace Ufdd
