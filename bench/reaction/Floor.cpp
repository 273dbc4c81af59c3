// Does the least that a program can do: shuts the ports when the uplink loses its carrier, and
// opens them when the uplink has it back. Records nothing, checks nothing and logs nothing.
//   reaction_floor STEPS UPLINK PORT...
// STEPS is 0. With 1 to 4, it also does so many of the system calls that ufdd adds, in this order:
//   1  waits for several descriptors, reads until there is no message, and asks the uplink's driver
//      every 10 ms
//   2  adds the ports to a file in /run before it shuts them
//   3  reads whether each port is shut before it shuts it
//   4  queries each port after its order, 16 ports at once, and reads the answers

#include <linux/ethtool.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <span>
#include <string>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr unsigned int lowerUp = 1u << 16;
constexpr std::size_t portsAtOnce = 16;
// In bytes: for what 512 ports send.
constexpr int receiveBuffer = 16 << 20;

enum Step { waiting = 1, recording, reading, checking };

struct Order {
   nlmsghdr header;
   ifinfomsg info;
};
using Orders = std::vector< Order >;

int
require( int result ) {
   if ( result >= 0 )
      return result;
   std::perror( "reaction_floor" );
   std::exit( EXIT_FAILURE );
}

int
netlink( unsigned int groups ) {
   int const fd = require( socket( AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE ) );
   sockaddr_nl address{};
   address.nl_family = AF_NETLINK;
   address.nl_groups = groups;
   require( bind( fd, reinterpret_cast< sockaddr const* >( &address ), sizeof address ) );
   require( setsockopt( fd, SOL_SOCKET, SO_RCVBUFFORCE, &receiveBuffer, sizeof receiveBuffer ) );
   return fd;
}

Order
orderTo( char const* name, bool up ) {
   Order order{};
   order.header.nlmsg_len = sizeof order;
   order.header.nlmsg_type = RTM_NEWLINK;
   order.header.nlmsg_flags = NLM_F_REQUEST;
   order.info.ifi_index = static_cast< int >( if_nametoindex( name ) );
   order.info.ifi_flags = up ? IFF_UP : 0;
   order.info.ifi_change = IFF_UP;
   return order;
}

class Floor {
 public:
   Floor( int steps, char const* uplink, std::vector< std::string > ports )
       : steps_( steps ), uplink_( uplink ),
         uplinkIndex_( static_cast< int >( if_nametoindex( uplink ) ) ),
         ports_( std::move( ports ) ) {
      for ( bool const up : { false, true } )
         for ( std::string const& port : ports_ )
            orders_[ up ].push_back( orderTo( port.c_str(), up ) );
      if ( steps_ >= waiting )
         beginWaiting();
      if ( steps_ >= recording )
         beginRecording();
   }

   [[noreturn]] void run() {
      for ( ;; ) {
         if ( steps_ >= waiting )
            wait();
         while ( receive() ) {
         }
      }
   }

 private:
   void beginWaiting() {
      itimerspec const every{ { 0, 10'000'000 }, { 0, 10'000'000 } };
      require( timerfd_settime( timer_, 0, &every, nullptr ) );
      for ( int const fd : { hearing_, timer_ } ) {
         epoll_event event{};
         event.events = EPOLLIN;
         event.data.fd = fd;
         require( epoll_ctl( epoll_, EPOLL_CTL_ADD, fd, &event ) );
      }
   }

   void beginRecording() {
      file_ = require( open( "/run/record", O_RDWR | O_CREAT | O_CLOEXEC | O_DSYNC, 0600 ) );
      require( fallocate( file_, FALLOC_FL_KEEP_SIZE, 0, 1 << 16 ) );
   }

   void wait() {
      epoll_event event{};
      while ( epoll_wait( epoll_, &event, 1, -1 ) == 1 && event.data.fd == timer_ ) {
         std::uint64_t ticks = 0;
         ethtool_value answer{ ETHTOOL_GLINK, 0 };
         require( static_cast< int >( read( timer_, &ticks, sizeof ticks ) ) );
         ask( SIOCETHTOOL, uplink_, reinterpret_cast< char* >( &answer ) );
      }
   }

   void ask( unsigned long what, std::string const& name, char* data = nullptr ) {
      ifreq request{};
      std::memcpy( request.ifr_name, name.data(), name.size() );
      request.ifr_data = data;
      require( ioctl( asking_, what, &request ) );
   }

   // Returns false when there is no message; waits for one if waiting is no step.
   bool receive() {
      ssize_t const size =
          recv( hearing_, room_.data(), room_.size(), steps_ >= waiting ? MSG_DONTWAIT : 0 );
      auto left = static_cast< unsigned int >( std::max< ssize_t >( size, 0 ) );
      auto const* message = reinterpret_cast< nlmsghdr const* >( room_.data() );
      for ( ; NLMSG_OK( message, left ); message = NLMSG_NEXT( message, left ) ) {
         auto const& info = *static_cast< ifinfomsg const* >( NLMSG_DATA( message ) );
         bool const now = info.ifi_flags & lowerUp;
         if ( message->nlmsg_type != RTM_NEWLINK || info.ifi_index != uplinkIndex_ ||
              std::exchange( isUp_, now ) == now )
            continue;
         // ufdd acts when there is no further message.
         if ( steps_ >= waiting )
            while ( recv( hearing_, rest_.data(), rest_.size(), MSG_DONTWAIT ) > 0 ) {
            }
         react();
      }
      return size > 0;
   }

   void react() {
      if ( steps_ >= recording && !isUp_ )
         record();
      std::span< Order const > all = orders_[ isUp_ ];
      std::size_t const most = steps_ >= checking ? portsAtOnce : all.size();
      for ( std::size_t first = 0; first < all.size(); first += most ) {
         std::size_t const count = std::min( most, all.size() - first );
         if ( steps_ >= reading )
            for ( std::size_t i = first; i < first + count; ++i )
               ask( SIOCGIFFLAGS, ports_[ i ] );
         order( all.subspan( first, count ) );
      }
   }

   void record() {
      std::string lines;
      for ( std::string const& port : ports_ )
         lines += "held 7 down 2a1b2c3d4e5 " + port + '\n';
      struct stat status {};
      require( fstat( file_, &status ) );
      require( static_cast< int >( pwrite( file_, lines.data(), lines.size(), 0 ) ) );
   }

   void order( std::span< Order const > orders ) {
      if ( steps_ >= checking ) {
         batch_.assign( orders.begin(), orders.end() );
         for ( Order query : orders ) {
            query.header.nlmsg_type = RTM_GETLINK;
            query.info.ifi_flags = query.info.ifi_change = 0;
            batch_.push_back( query );
         }
         orders = batch_;
      }
      require( static_cast< int >( send( sending_, orders.data(), orders.size_bytes(), 0 ) ) );
      if ( steps_ >= checking )
         while ( recv( sending_, rest_.data(), rest_.size(), MSG_DONTWAIT ) > 0 ) {
         }
   }

   int const steps_;
   std::string const uplink_;
   int const uplinkIndex_;
   std::vector< std::string > const ports_;
   std::array< Orders, 2 > orders_; // To shut and to open the ports.
   Orders batch_;
   bool isUp_ = true;
   int const hearing_ = netlink( RTMGRP_LINK );
   int const sending_ = netlink( 0 );
   int const epoll_ = require( epoll_create1( EPOLL_CLOEXEC ) );
   int const timer_ = require( timerfd_create( CLOCK_MONOTONIC, TFD_CLOEXEC ) );
   int const asking_ = require( socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) );
   int file_ = -1;
   alignas( nlmsghdr ) std::array< char, 1 << 16 > room_{};
   std::array< char, 1 << 16 > rest_{};
};

} // namespace

int
main( int argc, char** argv ) {
   if ( argc < 4 )
      return 64;
   static Floor floor( std::atoi( argv[ 1 ] ), argv[ 2 ], { argv + 3, argv + argc } );
   floor.run();
}
