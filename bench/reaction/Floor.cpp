// Does the least that a program can do: shuts the ports when the uplink loses its carrier, and
// opens them when the uplink has it back. Records nothing, checks nothing and logs nothing.
//   reaction_floor UPLINK PORT...

#include <linux/rtnetlink.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <net/if.h>
#include <sys/socket.h>
#include <vector>

namespace {

constexpr unsigned int lowerUp = 1u << 16;

struct Order {
   nlmsghdr header;
   ifinfomsg info;
};

int
netlink( unsigned int groups ) {
   int const fd = socket( AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE );
   sockaddr_nl address{};
   address.nl_family = AF_NETLINK;
   address.nl_groups = groups;
   if ( fd < 0 ||
        bind( fd, reinterpret_cast< sockaddr const* >( &address ), sizeof address ) < 0 ) {
      std::perror( "reaction_floor" );
      std::exit( EXIT_FAILURE );
   }
   return fd;
}

std::vector< Order >
orders( int count, char** names, bool up ) {
   std::vector< Order > batch;
   for ( int i = 0; i < count; ++i ) {
      Order order{};
      order.header.nlmsg_len = sizeof order;
      order.header.nlmsg_type = RTM_NEWLINK;
      order.header.nlmsg_flags = NLM_F_REQUEST;
      order.info.ifi_index = static_cast< int >( if_nametoindex( names[ i ] ) );
      order.info.ifi_flags = up ? IFF_UP : 0;
      order.info.ifi_change = IFF_UP;
      batch.push_back( order );
   }
   return batch;
}

} // namespace

int
main( int argc, char** argv ) {
   if ( argc < 3 )
      return 64;
   int const uplink = static_cast< int >( if_nametoindex( argv[ 1 ] ) );
   std::array< std::vector< Order >, 2 > const batches{ orders( argc - 2, argv + 2, false ),
                                                        orders( argc - 2, argv + 2, true ) };
   int const hearing = netlink( RTMGRP_LINK );
   int const sending = netlink( 0 );
   alignas( nlmsghdr ) static std::array< char, 1 << 16 > room;
   bool isUp = true;
   for ( ;; ) {
      ssize_t const size = recv( hearing, room.data(), room.size(), 0 );
      if ( size < 0 )
         continue;
      auto left = static_cast< unsigned int >( size );
      auto const* message = reinterpret_cast< nlmsghdr const* >( room.data() );
      for ( ; NLMSG_OK( message, left ); message = NLMSG_NEXT( message, left ) ) {
         auto const& info = *static_cast< ifinfomsg const* >( NLMSG_DATA( message ) );
         bool const now = info.ifi_flags & lowerUp;
         if ( message->nlmsg_type != RTM_NEWLINK || info.ifi_index != uplink || now == isUp )
            continue;
         isUp = now;
         auto const& batch = batches[ now ];
         if ( send( sending, batch.data(), batch.size() * sizeof( Order ), 0 ) < 0 )
            std::perror( "reaction_floor" );
      }
   }
}
