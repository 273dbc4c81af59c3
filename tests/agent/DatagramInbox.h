#pragma once

#include "tests/agent/Process.h"

#include <array>
#include <cstdlib>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Ufdd {

// Receives datagrams instead of the service manager or the journal.
class DatagramInbox {
 public:
   DatagramInbox() {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path().copy( address.sun_path, sizeof address.sun_path - 1 );
      if ( bind( fd_, reinterpret_cast< sockaddr* >( &address ), sizeof address ) != 0 )
         std::abort();
   }
   ~DatagramInbox() {
      close( fd_ );
      unlink( path().c_str() );
   }
   DatagramInbox( DatagramInbox const& ) = delete;
   DatagramInbox& operator=( DatagramInbox const& ) = delete;

   std::string path() const { return directory_.path() + "/inbox"; }

   // Waits for the next datagram for that long. Returns nothing if none came.
   std::optional< std::string > next( int milliseconds = 3000 ) const {
      std::array< char, 1 << 14 > text{};
      pollfd readable{ fd_, POLLIN, 0 };
      if ( poll( &readable, 1, milliseconds ) != 1 )
         return std::nullopt;
      ssize_t const size = recv( fd_, text.data(), text.size(), 0 );
      return std::string( text.data(), static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
   }
   // Waits for a datagram that contains the text, and drops those before it. Returns false if none
   // came.
   bool receives( std::string const& text ) const {
      for ( int i = 0; i < 100; ++i )
         if ( auto const datagram = next(); !datagram )
            return false;
         else if ( datagram->find( text ) != std::string::npos )
            return true;
      return false;
   }

 private:
   Directory const directory_;
   int const fd_ = socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
};

} // namespace Ufdd
