#pragma once

#include <linux/if_tun.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace Ufdd {

// An interface whose carrier the test sets. The kernel treats it like a network card: it delays the
// messages about lost carriers.
class Tap {
 public:
   // Throws: std::system_error when none can be made.
   explicit Tap( std::string const& name )
       : fd_( open( "/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK ) ) {
      ifreq request{};
      std::strncpy( request.ifr_name, name.c_str(), IFNAMSIZ - 1 );
      request.ifr_flags = IFF_TAP | IFF_NO_PI;
      if ( fd_ < 0 || ioctl( fd_, TUNSETIFF, &request ) < 0 )
         throw std::system_error( errno, std::generic_category(), "can't make a tap" );
   }
   ~Tap() { close( fd_ ); }
   Tap( Tap const& ) = delete;
   Tap& operator=( Tap const& ) = delete;

   void carrierIs( bool carrier ) {
      int value = carrier;
      if ( ioctl( fd_, TUNSETCARRIER, &value ) < 0 )
         throw std::system_error( errno, std::generic_category(), "can't switch a carrier" );
   }

 private:
   int fd_;
};

} // namespace Ufdd
