// Sends packets at fixed times in some network namespaces, receives them in others, and tells when
// which were lost. Reads what to do from its standard input:
//   receive NETNS ADDRESS                               packets for this address arrive there
//   send STREAM NETNS FROM TO PER-SECOND PORT...        a stream, whose packets take turns with the
//   ports
// Prints "start" with the time of the first packet, on the monotonic clock in microseconds, before
// it sends. After SECONDS prints what has become of each stream; times are in microseconds since
// the start:
//   stream STREAM SENT REFUSED LOST    refused: by the sender's own kernel; these are lost as well
//   lost STREAM FROM TO COUNT          packets in a row that were lost, sent from FROM to TO
//   arrived STREAM COUNT...            packets that arrived in each 5 ms
//   late MICROSECONDS                  how much too late a packet was sent at most
//   overflow COUNT                     packets that the receiver's own queues dropped
// Usage: fabric_traffic SECONDS

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <iterator>
#include <netinet/in.h>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint16_t port = 9000;
// Microseconds between two looks for packets that are due, and for packets that have arrived.
// Waking up for each packet would take more time than the packets.
constexpr std::int64_t turn = 400;
constexpr std::int64_t look = 1000;
constexpr std::int64_t bin = 5000;
constexpr std::int64_t lead = 100'000;   // From "start" being printed to the first packet.
constexpr std::int64_t linger = 200'000; // How long the last packets may be under way.
constexpr std::int64_t never = -1;
constexpr int receiveBuffer = 16 << 20;

[[noreturn]] void
fail( std::string const& what ) {
   throw std::system_error( errno, std::generic_category(), what );
}

std::int64_t
now() {
   timespec time{};
   clock_gettime( CLOCK_MONOTONIC, &time );
   return std::int64_t{ time.tv_sec } * 1'000'000 + time.tv_nsec / 1000;
}

void
sleepUntil( std::int64_t microseconds ) {
   timespec const until{ microseconds / 1'000'000, microseconds % 1'000'000 * 1000 };
   clock_nanosleep( CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr );
}

struct Packet {
   std::uint32_t stream = 0;
   std::uint32_t number = 0;
   std::array< char, 92 > padding{};
};

struct Stream {
   std::string name;
   std::int64_t perSecond = 0;
   sockaddr_in destination{};
   std::vector< int > sockets;
   std::int64_t next = 0; // Number of the next packet.
   std::int64_t refused = 0;
   // By packet, in microseconds since the start. The sender writes one, the receiver the other.
   std::vector< std::int64_t > sent;
   std::vector< std::int64_t > arrived;

   std::int64_t due() const { return next * 1'000'000 / perSecond; }
};

void
enter( std::string const& netns ) {
   int const fd = open( ( "/run/netns/" + netns ).c_str(), O_RDONLY | O_CLOEXEC );
   if ( fd < 0 || setns( fd, CLONE_NEWNET ) < 0 )
      fail( "network namespace " + netns );
   close( fd );
}

sockaddr_in
addressOf( std::string const& text, std::uint16_t number ) {
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons( number );
   if ( inet_pton( AF_INET, text.c_str(), &address.sin_addr ) != 1 )
      throw std::runtime_error( text + " is no IPv4 address" );
   return address;
}

int
socketAt( sockaddr_in const& address ) {
   int const fd = socket( AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
   if ( fd < 0 || bind( fd, reinterpret_cast< sockaddr const* >( &address ), sizeof address ) < 0 )
      fail( "socket" );
   return fd;
}

class Traffic {
 public:
   explicit Traffic( std::int64_t microseconds ) : duration_( microseconds ) {}

   void read( std::istream& plan );
   void run();
   void print() const;

 private:
   void send();
   void sendNext( Stream& stream );
   void receive();
   bool receiveFrom( int fd, std::uint32_t& dropped );

   std::int64_t duration_;
   std::int64_t start_ = 0;
   std::int64_t late_ = 0;
   std::vector< Stream > streams_;
   std::vector< int > receivers_;
   std::vector< std::uint32_t > dropped_; // By receiver.
   std::atomic< bool > done_ = false;
};

void
Traffic::read( std::istream& plan ) {
   std::string line;
   while ( std::getline( plan, line ) ) {
      std::istringstream words( line );
      std::string verb;
      std::string netns;
      std::string address;
      std::string destination;
      words >> verb;
      if ( verb == "receive" && words >> netns >> address ) {
         enter( netns );
         int const fd = socketAt( addressOf( address, port ) );
         int const on = 1;
         if ( setsockopt( fd, SOL_SOCKET, SO_RCVBUFFORCE, &receiveBuffer, sizeof receiveBuffer ) <
                  0 ||
              setsockopt( fd, SOL_SOCKET, SO_RXQ_OVFL, &on, sizeof on ) < 0 )
            fail( "receive buffer" );
         receivers_.push_back( fd );
      } else if ( Stream stream;
                  verb == "send" &&
                  words >> stream.name >> netns >> address >> destination >> stream.perSecond &&
                  stream.perSecond > 0 ) {
         enter( netns );
         stream.destination = addressOf( destination, port );
         for ( std::uint16_t source = 0; words >> source; )
            stream.sockets.push_back( socketAt( addressOf( address, source ) ) );
         if ( stream.sockets.empty() )
            throw std::runtime_error( "stream " + stream.name + " has no port" );
         auto const count = static_cast< std::size_t >( duration_ * stream.perSecond / 1'000'000 );
         stream.sent.assign( count, never );
         stream.arrived.assign( count, never );
         streams_.push_back( std::move( stream ) );
      } else {
         throw std::runtime_error( "not understood: " + line );
      }
   }
   dropped_.assign( receivers_.size(), 0 );
}

void
Traffic::sendNext( Stream& stream ) {
   Packet packet;
   packet.stream = static_cast< std::uint32_t >( &stream - streams_.data() );
   packet.number = static_cast< std::uint32_t >( stream.next );
   std::int64_t const at = now() - start_;
   stream.sent[ packet.number ] = at;
   late_ = std::max( late_, at - stream.due() );
   ++stream.next;
   if ( sendto( stream.sockets[ packet.number % stream.sockets.size() ], &packet, sizeof packet, 0,
                reinterpret_cast< sockaddr const* >( &stream.destination ),
                sizeof stream.destination ) < 0 )
      ++stream.refused;
}

void
Traffic::send() {
   for ( std::int64_t due = 0; due <= duration_; due += turn ) {
      sleepUntil( start_ + due );
      for ( Stream& stream : streams_ )
         while ( stream.next < std::ssize( stream.sent ) && stream.due() <= due )
            sendNext( stream );
   }
}

// Receives up to one batch. Returns true if there may be more.
bool
Traffic::receiveFrom( int fd, std::uint32_t& dropped ) {
   constexpr std::size_t most = 64;
   std::array< Packet, most > packets;
   std::array< iovec, most > vectors{};
   std::array< mmsghdr, most > messages{};
   std::array< std::array< char, CMSG_SPACE( sizeof( std::uint32_t ) ) >, most > notes{};
   for ( std::size_t i = 0; i < most; ++i ) {
      vectors[ i ] = { &packets[ i ], sizeof( Packet ) };
      messages[ i ].msg_hdr.msg_iov = &vectors[ i ];
      messages[ i ].msg_hdr.msg_iovlen = 1;
      messages[ i ].msg_hdr.msg_control = notes[ i ].data();
      messages[ i ].msg_hdr.msg_controllen = notes[ i ].size();
   }
   int const count = recvmmsg( fd, messages.data(), most, MSG_DONTWAIT, nullptr );
   std::int64_t const at = now() - start_;
   for ( int i = 0; i < count; ++i ) {
      auto const n = static_cast< std::size_t >( i );
      for ( cmsghdr* note = CMSG_FIRSTHDR( &messages[ n ].msg_hdr ); note != nullptr;
            note = CMSG_NXTHDR( &messages[ n ].msg_hdr, note ) )
         if ( note->cmsg_level == SOL_SOCKET && note->cmsg_type == SO_RXQ_OVFL )
            std::memcpy( &dropped, CMSG_DATA( note ), sizeof dropped );
      Packet const& packet = packets[ n ];
      if ( messages[ n ].msg_len == sizeof packet && packet.stream < streams_.size() ) {
         Stream& stream = streams_[ packet.stream ];
         if ( packet.number < stream.arrived.size() && stream.arrived[ packet.number ] == never )
            stream.arrived[ packet.number ] = at;
      }
   }
   return count == static_cast< int >( most );
}

void
Traffic::receive() {
   for ( std::int64_t at = start_; !done_; at += look ) {
      sleepUntil( at );
      for ( std::size_t i = 0; i < receivers_.size(); ++i )
         while ( receiveFrom( receivers_[ i ], dropped_[ i ] ) ) {
         }
   }
}

void
Traffic::run() {
   start_ = now() + lead;
   std::printf( "start %lld\n", static_cast< long long >( start_ ) );
   std::fflush( stdout );
   std::thread receiver( [ this ] { receive(); } );
   send();
   sleepUntil( start_ + duration_ + linger );
   done_ = true;
   receiver.join();
}

void
printLost( Stream const& stream ) {
   for ( std::size_t i = 0; i < stream.arrived.size(); ++i ) {
      std::size_t const first = i;
      while ( i < stream.arrived.size() && stream.arrived[ i ] == never )
         ++i;
      if ( i > first )
         std::printf( "lost %s %lld %lld %zu\n", stream.name.c_str(),
                      static_cast< long long >( stream.sent[ first ] ),
                      static_cast< long long >( stream.sent[ i - 1 ] ), i - first );
   }
}

void
Traffic::print() const {
   for ( Stream const& stream : streams_ ) {
      auto const lost = std::count( stream.arrived.begin(), stream.arrived.end(), never );
      std::printf( "stream %s %zu %lld %td\n", stream.name.c_str(), stream.sent.size(),
                   static_cast< long long >( stream.refused ), lost );
      printLost( stream );
      std::vector< int > counts( static_cast< std::size_t >( ( duration_ + linger ) / bin + 1 ) );
      for ( std::int64_t const at : stream.arrived )
         if ( at != never )
            ++counts[ std::min( static_cast< std::size_t >( at / bin ), counts.size() - 1 ) ];
      std::printf( "arrived %s", stream.name.c_str() );
      for ( int const count : counts )
         std::printf( " %d", count );
      std::printf( "\n" );
   }
   std::uint64_t overflow = 0;
   for ( std::uint32_t const count : dropped_ )
      overflow += count;
   std::printf( "late %lld\noverflow %llu\n", static_cast< long long >( late_ ),
                static_cast< unsigned long long >( overflow ) );
}

} // namespace

int
main( int argc, char** argv ) {
   double const seconds = argc == 2 ? std::atof( argv[ 1 ] ) : 0;
   if ( seconds <= 0 ) {
      std::fprintf( stderr, "usage: fabric_traffic SECONDS < PLAN\n" );
      return 64;
   }
   try {
      // Keeps the packets' times on a busy machine, below the programs that react.
      prctl( PR_SET_TIMERSLACK, 1 );
      sched_param const priority{ .sched_priority = 5 };
      if ( sched_setscheduler( 0, SCHED_FIFO, &priority ) < 0 )
         fail( "real-time scheduling" );
      Traffic traffic( static_cast< std::int64_t >( seconds * 1e6 ) );
      traffic.read( std::cin );
      traffic.run();
      traffic.print();
   } catch ( std::exception const& error ) {
      std::fprintf( stderr, "fabric_traffic: %s\n", error.what() );
      return EXIT_FAILURE;
   }
   return EXIT_SUCCESS;
}
