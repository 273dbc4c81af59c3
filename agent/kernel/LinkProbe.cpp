#include "agent/kernel/LinkProbe.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>

namespace Ufdd {

namespace {

ifreq
requestFor( InterfaceName const& name ) {
   ifreq request{};
   std::memcpy( request.ifr_name, name.view().data(), name.view().size() );
   return request;
}

} // namespace

// Uses a Unix socket, since that family always exists and is always allowed.
LinkProbe::LinkProbe() : fd_( socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) ) {
   if ( !fd_ )
      throw std::system_error( errno, std::generic_category(),
                               "can't open a socket to query drivers" );
}

std::optional< bool >
LinkProbe::carrier( InterfaceName const& name ) const {
   ethtool_value answer{ ETHTOOL_GLINK, 0 };
   ifreq request = requestFor( name );
   request.ifr_data = reinterpret_cast< char* >( &answer );
   if ( ioctl( fd_.fd(), SIOCETHTOOL, &request ) < 0 )
      return std::nullopt;
   return answer.data != 0;
}

std::optional< bool >
LinkProbe::isAdminUp( InterfaceName const& name ) const {
   ifreq request = requestFor( name );
   if ( ioctl( fd_.fd(), SIOCGIFFLAGS, &request ) < 0 )
      return std::nullopt;
   return ( request.ifr_flags & IFF_UP ) != 0;
}

} // namespace Ufdd
