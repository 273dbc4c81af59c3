#include "agent/Log.h"

#include "agent/WallTime.h"

#include <climits>

#include <algorithm>
#include <array>
#include <poll.h>
#include <unistd.h>

namespace Ufdd {

void
StreamLog::line( std::string_view text ) {
   if ( waiting_.size() > maxWaiting )
      ++dropped_;
   else
      append( text );
}

void
StreamLog::append( std::string_view text ) {
   if ( timed_ )
      waiting_ += localTime( wallNow() ) + ' ';
   waiting_ += text;
   waiting_ += '\n';
}

void
StreamLog::flush() {
   write();
   if ( dropped_ > 0 && waiting_.empty() ) {
      append( std::to_string( dropped_ ) + " lines were lost here: nobody read them" );
      dropped_ = 0;
      write();
   }
}

void
StreamLog::write() {
   pollfd writable{ fd_, POLLOUT, 0 };
   while ( !waiting_.empty() && poll( &writable, 1, 0 ) == 1 && writable.revents & POLLOUT ) {
      // A pipe that can be written to takes that much without waiting.
      std::size_t const size = std::min< std::size_t >( waiting_.size(), PIPE_BUF );
      ssize_t const written = ::write( fd_, waiting_.data(), size );
      if ( written <= 0 )
         return;
      waiting_.erase( 0, static_cast< std::size_t >( written ) );
   }
}

} // namespace Ufdd
