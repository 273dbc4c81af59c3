#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

struct mnl_socket;
struct sock_filter;

namespace Ufdd {

// An rtnetlink socket with its own netlink port number and its receive buffer.
class NetlinkSocket {
 public:
   struct Datagram {
      std::uint32_t sender = 0; // Netlink port number; the kernel's is 0.
      std::span< std::byte const > bytes;
      // The datagram was cut, or the kernel dropped others.
      bool lossy = false;
   };

   // Throws: std::system_error, as every operation does on an error not mentioned.
   NetlinkSocket();
   ~NetlinkSocket();
   NetlinkSocket( NetlinkSocket const& ) = delete;
   NetlinkSocket& operator=( NetlinkSocket const& ) = delete;

   int fd() const;
   // Its netlink port number.
   std::uint32_t portNumber() const;
   // Sets the size of the kernel's buffer, beyond the system's limit if we have CAP_NET_ADMIN.
   void receiveBufferIs( int bytes );
   // Joins a multicast group (RTNLGRP_...).
   void subscribe( int group );
   // Has the kernel drop the messages that the filter does not pass, instead of the former filter.
   void filterIs( std::span< sock_filter const > filter );
   void send( std::span< std::byte const > messages );
   // Returns the next datagram, waiting for it at most that long, or nothing.
   // Valid until: the next call.
   std::optional< Datagram > receive( int timeoutMs );

 private:
   // No part of a dump is larger.
   static constexpr std::size_t roomSize = 32768;

   mnl_socket* socket_;
   alignas( 8 ) std::array< std::byte, roomSize > room_;
};

} // namespace Ufdd
