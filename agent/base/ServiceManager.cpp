#include "agent/base/ServiceManager.h"

#include "agent/base/Printable.h"

#include <systemd/sd-daemon.h>

#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>

namespace Ufdd {

ServiceManager::ServiceManager() {
   char const* const path = std::getenv( "NOTIFY_SOCKET" );
   // A path, or with a leading @ the name of an abstract socket.
   if ( path && ( *path == '/' || *path == '@' ) &&
        std::string_view( path ).size() < sizeof( sockaddr_un::sun_path ) )
      path_ = path;
   socket_ = Descriptor( socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 ) );
   if ( sd_watchdog_enabled( 0, &watchdogPeriod_ ) <= 0 )
      watchdogPeriod_ = 0;
}

void
ServiceManager::reloading() {
   timespec now{};
   clock_gettime( CLOCK_MONOTONIC, &now );
   // An older READY=1 that is sent after RELOADING=1 would count as the end of the reload.
   due( Subject::ready ).clear();
   tell( Subject::reloading,
         "RELOADING=1\nMONOTONIC_USEC=" +
             std::to_string( static_cast< long long >( now.tv_sec ) * 1'000'000 +
                             now.tv_nsec / 1000 ) );
}

void
ServiceManager::statusIs( std::string const& text ) {
   std::string status = printable( text );
   if ( status == status_ )
      return;
   status_ = status;
   // The service manager takes no datagram of more than 4096 bytes; the status may list many ports.
   constexpr std::size_t room = 2048;
   tell( Subject::status,
         "STATUS=" + ( status.size() <= room ? status : status.substr( 0, room ) + "..." ) );
}

void
ServiceManager::alive() {
   if ( watchdogPeriod_ )
      tell( Subject::alive, "WATCHDOG=1" );
}

void
ServiceManager::tell( Subject subject, std::string text ) {
   if ( !isThere() )
      return;
   due( subject ) = std::move( text );
   send();
}

bool
ServiceManager::send() {
   sockaddr_un address{ .sun_family = AF_UNIX, .sun_path = {} };
   path_.copy( address.sun_path, sizeof address.sun_path - 1 );
   if ( address.sun_path[ 0 ] == '@' )
      address.sun_path[ 0 ] = '\0';
   auto const size = static_cast< socklen_t >( offsetof( sockaddr_un, sun_path ) + path_.size() );
   for ( std::string& text : due_ ) {
      if ( text.empty() )
         continue;
      if ( sendto( socket_.fd(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                   reinterpret_cast< sockaddr const* >( &address ), size ) < 0 )
         return false;
      text.clear();
   }
   return true;
}

} // namespace Ufdd
