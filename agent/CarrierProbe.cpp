#include "agent/CarrierProbe.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Ufdd {

// Of a family that is always there and always allowed.
CarrierProbe::CarrierProbe() : fd_( socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) ) {
   if ( fd_ < 0 )
      throw std::system_error( errno, std::generic_category(),
                               "can't open a socket to ask drivers with" );
}

CarrierProbe::~CarrierProbe() {
   close( fd_ );
}

std::optional< bool >
CarrierProbe::carrier( InterfaceName const& name ) const {
   ethtool_value answer{ ETHTOOL_GLINK, 0 };
   ifreq request{};
   std::memcpy( request.ifr_name, name.view().data(), name.view().size() );
   request.ifr_data = reinterpret_cast< char* >( &answer );
   if ( ioctl( fd_, SIOCETHTOOL, &request ) < 0 )
      return std::nullopt;
   return answer.data != 0;
}

} // namespace Ufdd
