#include "agent/base/Log.h"

#include "agent/base/Printable.h"
#include "agent/base/WallTime.h"

#include <climits>

#include <algorithm>
#include <array>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace Ufdd {

void
StreamLog::line( std::string_view text ) {
   if ( waiting_.size() > maxWaiting ) {
      ++dropped_;
      return;
   }
   lines_.push_back( { timed_ ? wallNow() : 0, printable( text ) } );
}

bool
StreamLog::flush() {
   write();
   if ( dropped_ > 0 && waiting_.empty() ) {
      line( std::to_string( std::exchange( dropped_, 0 ) ) +
            " lines were lost here: nobody read them in time" );
      write();
   }
   return waiting_.empty();
}

void
StreamLog::write() {
   for ( Line const& line : lines_ ) {
      if ( timed_ )
         waiting_ += localTime( line.time ) + ' ';
      waiting_.append( line.text ) += '\n';
   }
   lines_.clear();
   pollfd writable{ fd_, POLLOUT, 0 };
   std::size_t done = 0;
   while ( done < waiting_.size() && poll( &writable, 1, 0 ) == 1 && writable.revents & POLLOUT ) {
      // A writable pipe takes PIPE_BUF bytes without blocking.
      std::size_t const size = std::min< std::size_t >( waiting_.size() - done, PIPE_BUF );
      ssize_t const written = ::write( fd_, waiting_.data() + done, size );
      if ( written <= 0 )
         break;
      done += static_cast< std::size_t >( written );
   }
   waiting_.erase( 0, done );
}

} // namespace Ufdd
