#include "agent/ports/PortClaims.h"

#include "agent/base/InterfaceName.h"
#include "agent/base/UnixSocket.h"

#include <linux/capability.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <net/if.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <utility>

namespace Ufdd {

namespace {

constexpr std::string_view prefix = "ufdd/port/";

std::string
mainName( Kelnet::IntfId port ) {
   std::string const name( port.name().view() );
   std::array< char, IF_NAMESIZE > found{};
   unsigned int const index =
       name.size() <= InterfaceName::maxSize ? if_nametoindex( name.c_str() ) : 0;
   return index != 0 && if_indextoname( index, found.data() ) ? found.data() : name;
}

// Calls act( descriptor, address, size ), which is bind() or connect(), for the port's socket.
template < class Act >
Descriptor
socketOf( std::string const& port, Act act ) {
   std::string const name = std::string( prefix ) + port;
   sockaddr_un address{ .sun_family = AF_UNIX, .sun_path = {} };
   // An abstract name begins with a zero byte.
   if ( name.size() >= sizeof address.sun_path ) {
      errno = ENAMETOOLONG;
      return Descriptor();
   }
   name.copy( address.sun_path + 1, name.size() );
   Descriptor made( socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 ) );
   auto const size =
       static_cast< socklen_t >( offsetof( sockaddr_un, sun_path ) + 1 + name.size() );
   if ( made && act( made.fd(), reinterpret_cast< sockaddr const* >( &address ), size ) < 0 )
      return Descriptor();
   return made;
}

bool
isInOurUserNamespace( pid_t process ) {
   struct stat own {};
   struct stat other {};
   std::string const path = "/proc/" + std::to_string( process ) + "/ns/user";
   return stat( "/proc/self/ns/user", &own ) == 0 && stat( path.c_str(), &other ) == 0 &&
          own.st_ino == other.st_ino;
}

// Returns true if the process has CAP_NET_ADMIN, and not only in a user namespace of its own. False
// also if that can't be seen: a user may not look at the processes of others.
bool
canChangeInterfaces( pid_t process ) {
   std::ifstream status( "/proc/" + std::to_string( process ) + "/status" );
   for ( std::string word; word != "CapEff:" && status >> word; ) {
   }
   std::uint64_t capabilities = 0;
   status >> std::hex >> capabilities;
   return ( capabilities >> CAP_NET_ADMIN & 1 ) != 0 && isInOurUserNamespace( process );
}

// Returns the process that holds the port's socket, which exists; of user -1 if that is unknown.
ucred
holderOf( std::string const& port ) {
   // A process that starts at this moment has the socket, but does not listen yet.
   constexpr int tries = 3;
   Descriptor connected = socketOf( port, connect );
   for ( int i = 1; i < tries && !connected && errno == ECONNREFUSED; ++i ) {
      std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
      connected = socketOf( port, connect );
   }
   return peerOf( connected );
}

bool
isUfdd( ucred const& peer ) {
   return peer.uid == 0 || peer.uid == geteuid() || canChangeInterfaces( peer.pid );
}

} // namespace

PortClaims::PortClaims( Log& log, ReadLinks readLinks )
    : log_( log ), readLinks_( readLinks ), askers_( epoll_create1( EPOLL_CLOEXEC ) ) {
   if ( !askers_ )
      throw std::system_error( errno, std::generic_category(), "epoll_create1" );
}

std::vector< PortClaims::Relative >
PortClaims::relativesOf( std::set< std::string > const& ports ) {
   std::map< std::uint32_t, Link > links;
   try {
      links = readLinks_();
   } catch ( std::system_error const& error ) {
      log_.event( { .id = LogEvent::trouble },
                  std::string( error.what() ) + "; another ufdd on the members of a LAG, or on the "
                                                "LAG of a member, would not be noticed" );
   }
   std::vector< Relative > relatives;
   for ( auto const& [ index, link ] : links ) {
      auto const master = links.find( link.master );
      if ( master == links.end() || !master->second.isLag )
         continue;
      std::string const lag( master->second.name.view() );
      std::string const member( link.name.view() );
      std::string const text =
          std::string( lag ).append( " (member " ).append( member ).append( ")" );
      if ( ports.contains( member ) )
         relatives.push_back( { lag, text } );
      if ( ports.contains( lag ) )
         relatives.push_back( { member, text } );
   }
   return relatives;
}

std::vector< std::string >
PortClaims::add( std::span< Kelnet::IntfId const > ports ) {
   std::map< std::string, Descriptor > added;
   std::map< pid_t, std::string > holders; // The ports of other ufdds: " d1 d2".
   std::string disturbed;
   auto const note = [ & ]( ucred const& peer, std::string const& text ) {
      ( isUfdd( peer ) ? holders[ peer.pid ] : disturbed ).append( " " ).append( text );
   };
   int failure = 0;
   std::set< std::string > all;
   for ( Kelnet::IntfId const port : ports ) {
      std::string const name = mainName( port );
      all.insert( name );
      if ( claims_.contains( name ) || added.contains( name ) ||
           claims_.size() + added.size() >= maxClaims )
         continue;
      Descriptor claim = socketOf( name, bind );
      epoll_event event{ .events = EPOLLIN, .data = { .fd = claim.fd() } };
      // Listens, since the kernel tells only a connected process who is at the other end.
      if ( claim && listen( claim.fd(), SOMAXCONN ) == 0 &&
           epoll_ctl( askers_.fd(), EPOLL_CTL_ADD, claim.fd(), &event ) == 0 ) {
         added.emplace( name, std::move( claim ) );
         continue;
      }
      if ( errno == EADDRINUSE )
         note( holderOf( name ), name );
      else
         failure = errno;
   }
   // Last, so that of two that start at this moment one sees the other.
   for ( auto const& [ name, text ] : relativesOf( all ) )
      if ( !claims_.contains( name ) && !added.contains( name ) )
         if ( Descriptor const connected = socketOf( name, connect ) )
            note( peerOf( connected ), text );
   if ( failure )
      log_.event( { .id = LogEvent::trouble },
                  "not every port can be claimed: " + std::string( std::strerror( failure ) ) +
                      "; another ufdd on these ports would not be noticed" );
   if ( !disturbed.empty() )
      log_.event( { .id = LogEvent::trouble },
                  "a process that is no ufdd has made the Unix sockets by which ufdd claims ports; "
                  "another ufdd on these ports would not be noticed. Find it with: ss -xlp src "
                  "'@ufdd/port/*'. Ports:" +
                      disturbed );
   std::vector< std::string > lines;
   lines.reserve( holders.size() );
   for ( auto const& [ pid, names ] : holders )
      lines.push_back( "another ufdd (process " + std::to_string( pid ) +
                       ") shuts and opens these ports; stop it, or take the ports out of one of "
                       "the two configurations:" +
                       names );
   if ( lines.empty() )
      claims_.merge( added );
   return lines;
}

bool
PortClaims::handleReady() {
   std::array< epoll_event, 16 > ready{};
   int const count =
       epoll_wait( askers_.fd(), ready.data(), static_cast< int >( ready.size() ), 0 );
   for ( int i = 0; i < count; ++i ) {
      int const claim = ready[ static_cast< std::size_t >( i ) ].data.fd;
      Descriptor const asker( accept4( claim, nullptr, nullptr, SOCK_CLOEXEC ) );
      // Without descriptors, those who wait would wake the loop again and again.
      if ( !asker && errno != EAGAIN && errno != ECONNABORTED && errno != EINTR )
         epoll_ctl( askers_.fd(), EPOLL_CTL_DEL, claim, nullptr );
   }
   return false;
}

void
PortClaims::keepOnly( std::span< Kelnet::IntfId const > ports ) {
   std::set< std::string > wanted;
   for ( Kelnet::IntfId const port : ports )
      wanted.insert( mainName( port ) );
   std::erase_if( claims_, [ & ]( auto const& claim ) { return !wanted.contains( claim.first ); } );
}

} // namespace Ufdd
