#include "agent/base/UnixSocket.h"

#include <algorithm>
#include <cerrno>
#include <sys/time.h>
#include <system_error>
#include <vector>

namespace Ufdd {

sockaddr_un
unixAddress( std::string const& path ) {
   sockaddr_un address{ .sun_family = AF_UNIX, .sun_path = {} };
   if ( path.empty() || path.size() >= sizeof address.sun_path )
      throw std::system_error( ENAMETOOLONG, std::generic_category(),
                               "the path of a socket must have 1 to " +
                                   std::to_string( sizeof address.sun_path - 1 ) + " bytes, not " +
                                   std::to_string( path.size() ) + ": " + path );
   path.copy( address.sun_path, path.size() );
   return address;
}

Descriptor
unixStream() {
   Descriptor stream( socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
   if ( !stream )
      throw std::system_error( errno, std::generic_category(), "can't make a Unix socket" );
   return stream;
}

Descriptor
unixStreamTo( std::string const& path ) {
   sockaddr_un const address = unixAddress( path );
   Descriptor stream = unixStream();
   timeval const patience{ .tv_sec = 1, .tv_usec = 0 };
   setsockopt( stream.fd(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience );
   if ( connect( stream.fd(), reinterpret_cast< sockaddr const* >( &address ), sizeof address ) <
        0 )
      return Descriptor();
   return stream;
}

ucred
peerOf( Descriptor const& stream ) noexcept {
   ucred peer{};
   peer.uid = static_cast< uid_t >( -1 );
   peer.gid = static_cast< gid_t >( -1 );
   socklen_t size = sizeof peer;
   getsockopt( stream.fd(), SOL_SOCKET, SO_PEERCRED, &peer, &size );
   return peer;
}

bool
isPeerInGroup( Descriptor const& stream, gid_t group ) {
   if ( peerOf( stream ).gid == group )
      return true;
   std::vector< gid_t > groups( 64 );
   for ( bool isLarger = true; isLarger; ) {
      auto size = static_cast< socklen_t >( groups.size() * sizeof( gid_t ) );
      int const result = getsockopt( stream.fd(), SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size );
      isLarger = result < 0 && errno == ERANGE && size > groups.size() * sizeof( gid_t );
      groups.resize( result < 0 && !isLarger ? 0 : size / sizeof( gid_t ) );
   }
   return std::ranges::find( groups, group ) != groups.end();
}

} // namespace Ufdd
