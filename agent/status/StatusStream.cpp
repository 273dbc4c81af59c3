#include "agent/status/StatusStream.h"

#include "agent/base/UnixSocket.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>

namespace Ufdd {

namespace {

constexpr double answerSeconds = 5;

bool
isSocket( std::string const& path ) {
   struct stat file {};
   return stat( path.c_str(), &file ) == 0 && S_ISSOCK( file.st_mode );
}

std::string
remedy( int error, std::string const& path, std::string const& option,
        std::string const& program ) {
   switch ( error ) {
   case ENOENT:
      return "start ufdd, or give " + program + " the same " + option + " as ufdd";
   case ECONNREFUSED:
      return isSocket( path )
                 ? "ufdd ended without removing it; start ufdd"
                 : "it is not a socket; give " + program + " the same " + option + " as ufdd";
   case EACCES:
      return "run " + program + " as root, or as a member of the group that owns the socket";
   default:
      return "see whether ufdd is running and what it logs";
   }
}

} // namespace

std::string
unreachableText( std::string const& path, int error, std::string const& option,
                 std::string const& program ) {
   return "can't reach ufdd at " + path + ": " + std::generic_category().message( error ) + "; " +
          remedy( error, path, option, program );
}

std::optional< std::string >
StatusStream::connect() {
   replica_.begin();
   socket_ = unixStreamTo( path_ );
   if ( !socket_ )
      return unreachableText( path_, errno, "--socket", program_ );
   auto const hello = replica_.hello();
   // Errors are ignored here: if the peer has closed already, receive() finds out.
   send( socket_.fd(), hello.data(), hello.size(), MSG_NOSIGNAL );
   return std::nullopt;
}

// Returns false if nothing comes for so many seconds.
bool
StatusStream::isReadable( double seconds ) const {
   pollfd watched{ .fd = socket_.fd(), .events = POLLIN, .revents = 0 };
   double const end = Zet::now() + seconds;
   for ( ;; ) {
      double const milliseconds = std::clamp( ( end - Zet::now() ) * 1000 + 1, 0.0, 1e6 );
      int const count = poll( &watched, 1, static_cast< int >( milliseconds ) );
      if ( count > 0 )
         return true;
      if ( Zet::now() >= end )
         return false;
   }
}

bool
StatusStream::isServed() const {
   char first = 0;
   return isReadable( answerSeconds ) && recv( socket_.fd(), &first, 1, MSG_PEEK ) == 1;
}

StatusStream::Received
StatusStream::receive( double seconds ) {
   if ( !isReadable( seconds ) )
      return Received::nothing;
   std::array< unsigned char, 1 << 16 > bytes;
   ssize_t size;
   do
      size = recv( socket_.fd(), bytes.data(), bytes.size(), 0 );
   while ( size < 0 && errno == EINTR );
   if ( size <= 0 )
      return Received::end;
   if ( !replica_.receive( { bytes.data(), static_cast< std::size_t >( size ) } ) )
      throw std::runtime_error( "can't read the status from " + path_ + ": " + replica_.error() +
                                "; use ufdd and " + program_ + " of the same version" );
   return Received::bytes;
}

void
StatusStream::fill() {
   if ( auto const hindrance = connect() )
      throw Unreachable( *hindrance );
   while ( !replica_.isInStep() )
      switch ( receive( answerSeconds ) ) {
      case Received::bytes:
         break;
      case Received::end:
         throw Unreachable( "ufdd at " + path_ + " closed the connection: " +
                            ( replica_.isGreeted()
                                  ? "it was stopped; try again once it runs"
                                  : "it was stopped, or serves as many clients as it can; "
                                    "see whether it runs, or end another ufdctl" ) );
      case Received::nothing:
         throw Unreachable( "ufdd at " + path_ + " sent nothing for 5 s; see whether it is stuck" );
      }
}

} // namespace Ufdd
