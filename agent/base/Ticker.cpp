#include "agent/base/Ticker.h"

#include <cerrno>
#include <ctime>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

namespace Ufdd {

Ticker::Ticker() : fd_( timerfd_create( CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK ) ) {
   if ( !fd_ )
      throw std::system_error( errno, std::generic_category(), "can't make a timer" );
}

void
Ticker::intervalIs( std::uint32_t milliseconds ) {
   if ( milliseconds == milliseconds_ )
      return;
   timespec const interval{ milliseconds / 1000, milliseconds % 1000 * 1'000'000L };
   itimerspec const setting{ interval, interval };
   if ( timerfd_settime( fd_.fd(), 0, &setting, nullptr ) < 0 )
      throw std::system_error( errno, std::generic_category(), "can't set a timer" );
   milliseconds_ = milliseconds;
}

void
Ticker::take() {
   std::uint64_t ticks = 0;
   // EAGAIN: the ticker was stopped after it had ticked.
   if ( read( fd_.fd(), &ticks, sizeof ticks ) < 0 && errno != EAGAIN )
      throw std::system_error( errno, std::generic_category(), "can't read a timer" );
}

} // namespace Ufdd
