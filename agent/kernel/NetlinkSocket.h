#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

struct mnl_socket;

namespace Ufdd {

// An rtnetlink socket of its own port number, and the room for what it receives.
class NetlinkSocket {
 public:
   struct Datagram {
      std::uint32_t sender = 0; // The port number; the kernel's is 0.
      std::span< std::byte const > bytes;
      // It was cut, or the kernel had to drop others before it, or instead of it.
      bool lossy = false;
   };

   // Throws: std::system_error, as every operation does on an error not mentioned.
   NetlinkSocket();
   ~NetlinkSocket();
   NetlinkSocket( NetlinkSocket const& ) = delete;
   NetlinkSocket& operator=( NetlinkSocket const& ) = delete;

   int fd() const;
   // Its own port number.
   std::uint32_t port() const;
   // Larger than the system allows to all, where we are allowed that.
   void receiveBufferIs( int bytes );
   // Joins a multicast group (RTNLGRP_...).
   void subscribe( int group );
   void send( std::span< std::byte const > messages );
   // The next datagram, waiting for it at most that long; none when there was none. The bytes
   // are valid until the next call.
   std::optional< Datagram > receive( int timeoutMs );

 private:
   // No part of a dump is larger.
   static constexpr std::size_t roomSize = 32768;

   mnl_socket* socket_;
   alignas( 8 ) std::array< std::byte, roomSize > room_;
};

} // namespace Ufdd
