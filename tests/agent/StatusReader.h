#pragma once

#include "agent/base/UnixSocket.h"
#include "agent/status/StatusReplica.h"
#include "agent/status/StatusServer.h"

#include <array>
#include <cerrno>
#include <span>
#include <string>
#include <sys/socket.h>

namespace Ufdd {

// A client of the status server, with a replica. Reads only when the test calls it.
class StatusReader {
 public:
   explicit StatusReader( std::string const& path, bool saysHello = true )
       : path_( path ), saysHello_( saysHello ) {
      connect();
   }

   bool connect() {
      replica.begin();
      socket_ = unixStreamTo( path_ );
      isOpen = static_cast< bool >( socket_ );
      if ( isOpen && saysHello_ )
         send( replica.hello() );
      return isOpen;
   }
   void send( std::span< unsigned char const > bytes ) const {
      ::send( socket_.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
   }
   // Reads what has come so far. Returns false once the connection is closed or bad.
   bool read() {
      std::array< unsigned char, 1 << 16 > bytes;
      while ( isOpen ) {
         ssize_t const size = recv( socket_.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
         if ( size < 0 && errno == EAGAIN )
            break;
         isOpen =
             size > 0 && replica.receive( { bytes.data(), static_cast< std::size_t >( size ) } );
      }
      return isOpen;
   }

   StatusReplica replica;
   bool isOpen = false;

 private:
   std::string const path_;
   bool const saysHello_;
   Descriptor socket_;
};

} // namespace Ufdd
