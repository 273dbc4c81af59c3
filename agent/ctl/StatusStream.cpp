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
      return "start ufdd, or give ufdctl the same --socket as ufdd";
   case ECONNREFUSED:
      return isSocket( path ) ? "ufdd ended without removing it; start ufdd"
                              : "it is not a socket; give ufdctl the same --socket as ufdd";
   case EACCES:
      return "run ufdctl as root, or as a member of the group that owns the socket";
   default:
      return "see whether ufdd is running and what it logs";
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
   // Errors are ignored here: if the peer has closed already, receive() finds out.
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
      throw std::runtime_error( "ufdd at " + path_ + " sent nothing for " +
                                std::to_string( seconds ) + " s; see whether it is stuck" );
   if ( size <= 0 )
      return false;
   if ( !replica_.receive( { bytes.data(), static_cast< std::size_t >( size ) } ) )
      throw std::runtime_error( "can't read the status from " + path_ + ": " + replica_.error() +
                                "; use ufdd and ufdctl of the same version" );
   return true;
}

} // namespace Ufdd
