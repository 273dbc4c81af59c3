#include "agent/kernel/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <linux/filter.h>
#include <linux/netlink.h>

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

namespace Ufdd {

namespace {

[[noreturn]] void
fail( char const* what ) {
   throw std::system_error( errno, std::generic_category(), what );
}

} // namespace

NetlinkSocket::NetlinkSocket()
    : socket_( mnl_socket_open2( NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK ) ) {
   if ( !socket_ )
      fail( "can't open an rtnetlink socket" );
   if ( mnl_socket_bind( socket_, 0, MNL_SOCKET_AUTOPID ) < 0 ) {
      int const error = errno;
      mnl_socket_close( socket_ );
      errno = error;
      fail( "can't bind an rtnetlink socket" );
   }
}

NetlinkSocket::~NetlinkSocket() {
   mnl_socket_close( socket_ );
}

int
NetlinkSocket::fd() const {
   return mnl_socket_get_fd( socket_ );
}

std::uint32_t
NetlinkSocket::portNumber() const {
   return mnl_socket_get_portid( socket_ );
}

void
NetlinkSocket::receiveBufferIs( int bytes ) {
   if ( setsockopt( fd(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes ) < 0 &&
        setsockopt( fd(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes ) < 0 )
      fail( "can't size the receive buffer of an rtnetlink socket" );
}

void
NetlinkSocket::subscribe( int group ) {
   if ( mnl_socket_setsockopt( socket_, NETLINK_ADD_MEMBERSHIP, &group, sizeof group ) < 0 )
      fail( "can't subscribe to the kernel's messages" );
}

void
NetlinkSocket::filterIs( std::span< sock_filter const > filter ) {
   sock_fprog const program{ static_cast< unsigned short >( filter.size() ),
                             const_cast< sock_filter* >( filter.data() ) };
   if ( setsockopt( fd(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program ) < 0 )
      fail( "can't filter the kernel's messages (raise net.core.optmem_max if it is small)" );
}

void
NetlinkSocket::send( std::span< std::byte const > messages ) {
   if ( mnl_socket_sendto( socket_, messages.data(), messages.size() ) < 0 )
      fail( "can't send to the kernel over rtnetlink" );
}

std::optional< NetlinkSocket::Datagram >
NetlinkSocket::receive( int timeoutMs ) {
   sockaddr_nl sender{};
   iovec part{ room_.data(), room_.size() };
   msghdr message{};
   message.msg_name = &sender;
   message.msg_namelen = sizeof sender;
   message.msg_iov = &part;
   message.msg_iovlen = 1;
   for ( ;; ) {
      if ( ssize_t const size = recvmsg( fd(), &message, 0 ); size >= 0 )
         return Datagram{ sender.nl_pid,
                          { room_.data(), static_cast< std::size_t >( size ) },
                          ( message.msg_flags & MSG_TRUNC ) != 0 };
      if ( errno == ENOBUFS )
         return Datagram{ 0, {}, true };
      if ( errno == EAGAIN ) {
         if ( timeoutMs == 0 )
            return std::nullopt;
         pollfd readable{ fd(), POLLIN, 0 };
         int const ready = poll( &readable, 1, timeoutMs );
         if ( ready == 0 )
            return std::nullopt;
         if ( ready > 0 )
            continue;
      }
      if ( errno != EINTR )
         fail( "can't receive from the kernel over rtnetlink" );
   }
}

} // namespace Ufdd
