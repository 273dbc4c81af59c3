#include "agent/ctl/StatusStream.h"

#include "agent/base/UnixSocket.h"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <system_error>

namespace Ufdd {

namespace {

bool
isSocket( std::string const& path ) {
   struct stat file {};
   return stat( path.c_str(), &file ) == 0 && S_ISSOCK( file.st_mode );
}

std::string
remedy( int error, std::string const& path ) {
   switch ( error ) {
   case ENOENT:
      return "start ufdd, or name the socket that it was given by --socket";
   case ECONNREFUSED:
      return isSocket( path ) ? "ufdd has ended without removing it; start ufdd"
                              : "it is no socket; name the one that ufdd was given by --socket";
   case EACCES:
      return "run ufdctl as root, or as a member of the group that owns the socket";
   default:
      return "see whether ufdd is well";
   }
}

} // namespace

std::optional< std::string >
StatusStream::connect() {
   replica_.begin();
   socket_ = unixStreamTo( path_ );
   if ( !socket_ ) {
      int const error = errno;
      return "can't reach ufdd at " + path_ + ": " + std::generic_category().message( error ) +
             "; " + remedy( error, path_ );
   }
   auto const hello = replica_.hello();
   // A peer that has closed already is found out by reading.
   send( socket_.fd(), hello.data(), hello.size(), MSG_NOSIGNAL );
   return std::nullopt;
}

bool
StatusStream::isServed() const {
   char first = 0;
   return recv( socket_.fd(), &first, 1, MSG_PEEK ) == 1;
}

bool
StatusStream::receive( int seconds ) {
   timeval const limit{ .tv_sec = seconds, .tv_usec = 0 };
   setsockopt( socket_.fd(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit );
   std::array< unsigned char, 1 << 16 > bytes;
   ssize_t size;
   do
      size = recv( socket_.fd(), bytes.data(), bytes.size(), 0 );
   while ( size < 0 && errno == EINTR );
   if ( size < 0 && errno == EAGAIN )
      throw std::runtime_error( "ufdd at " + path_ + " has said nothing for " +
                                std::to_string( seconds ) + " s; see whether it is stuck" );
   if ( size <= 0 )
      return false;
   if ( !replica_.receive( { bytes.data(), static_cast< std::size_t >( size ) } ) )
      throw std::runtime_error( "what came from " + path_ + " can't be read: " + replica_.error() +
                                "; ufdd and ufdctl have to be of one version" );
   return true;
}

} // namespace Ufdd
