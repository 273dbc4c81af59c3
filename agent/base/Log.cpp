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

std::size_t
syslogLevelOf( LogEvent::Id id ) noexcept {
   switch ( id ) {
   case LogEvent::groupTransition:
   case LogEvent::portOpened:
   case LogEvent::configuration:
   case LogEvent::order:
   case LogEvent::uplinkCheck:
      return 5;
   case LogEvent::portShut:
   case LogEvent::trouble:
      return 4;
   case LogEvent::portFailure:
   case LogEvent::fault:
   case LogEvent::groupAlarm:
   case LogEvent::checkAlarm:
      return 3;
   case LogEvent::other:
   case LogEvent::groupDecision:
      break;
   }
   return 6;
}

bool
StreamLog::take( LogEvent const&, std::string_view text ) {
   if ( waiting_.size() > maxWaiting ) {
      ++dropped_;
      return false;
   }
   lines_.push_back( { timed_ ? wallNow() : 0, printable( text ) } );
   return true;
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
