#include "agent/ctl/MetricsFile.h"

#include "agent/base/Descriptor.h"
#include "agent/base/PollUntil.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/MetricsText.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Ufdd {

MetricsFile::MetricsFile( Follower& follower, std::string const& path )
    : follower_( follower ), path_( path ), draft_( path + ".new" ) {}

void
MetricsFile::keep() {
   double writtenAt = 0;
   double writeBy = 0;
   bool isChanged = false;
   for ( ;; ) {
      pollfd watched{ .fd = follower_.fd(), .events = POLLIN, .revents = 0 };
      double const writeAt = isChanged ? std::min( writeBy, writtenAt + leastPause ) : writeBy;
      pollUntil( { &watched, 1 }, std::min( writeAt, follower_.nextTime() ) );
      isChanged |= follower_.handle();
      double const now = Zet::now();
      if ( now < writeBy && !( isChanged && now >= writtenAt + leastPause ) )
         continue;
      write();
      isChanged = false;
      writtenAt = now;
      writeBy = now + mostPause;
   }
}

void
MetricsFile::write() {
   StatusRoots const* const roots = follower_.roots();
   int const error = replace( roots ? metricsText( *roots ) : metricsTextWithoutUfdd() );
   std::string const complaint = "can't write " + path_ + ": " +
                                 std::generic_category().message( error ) +
                                 "; see whether its directory is there and can be written to";
   if ( error && !std::exchange( isWritten_, true ) )
      throw Failure( ExitStatus::failure, complaint );
   isWritten_ = true;
   if ( std::exchange( told_, error ) != error )
      std::cerr << "ufdctl: " << ( error ? complaint : path_ + " can be written again" )
                << std::endl;
}

int
MetricsFile::replace( std::string const& text ) const {
   Descriptor const file(
       open( draft_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644 ) );
   if ( !file )
      return errno;
   ssize_t const size = ::write( file.fd(), text.data(), text.size() );
   int const error = size < 0                                            ? errno
                     : static_cast< std::size_t >( size ) != text.size() ? ENOSPC
                     // For the collector, whatever our umask is.
                     : fchmod( file.fd(), 0644 ) < 0                    ? errno
                     : std::rename( draft_.c_str(), path_.c_str() ) < 0 ? errno
                                                                        : 0;
   if ( error )
      unlink( draft_.c_str() );
   return error;
}

} // namespace Ufdd
