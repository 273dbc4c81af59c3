#include "agent/base/EventLoop.h"

#include <systemd/sd-event.h>

#include <csignal>
#include <cstdint>
#include <ctime>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

void
check( int result, char const* what ) {
   if ( result < 0 )
      throw std::system_error( -result, std::generic_category(), what );
}

} // namespace

void
EventLoop::Source::run() noexcept {
   try {
      bool const needsEnd = call_( owner_ );
      // Called here, not by sd_event, which would first ask the kernel for more events: ports may
      // be waiting to be shut.
      if ( Source const* const end = loop_.turnEnd_; needsEnd && end && !loop_.isLeaving_ )
         end->call_( end->owner_ );
   } catch ( ... ) {
      // Nothing may be thrown through the loop, which is C.
      loop_.failure_ = std::current_exception();
      loop_.exit();
   }
}

// Sets an absolute time. A relative one would count from when the loop woke up, which may be a
// while ago.
void
EventLoop::Source::fireAt( double time ) {
   // Rounded up, since a timer that fires too early finds nothing to do.
   check( sd_event_source_set_time( source_, static_cast< std::uint64_t >( time * 1e6 ) + 1 ),
          "can't set a timer" );
   check( sd_event_source_set_enabled( source_, SD_EVENT_ONESHOT ), "can't start a timer" );
}

EventLoop::EventLoop() {
   check( sd_event_new( &event_ ), "can't make an event loop" );
}

EventLoop::~EventLoop() {
   for ( Source const& source : sources_ )
      sd_event_source_unref( source.source_ );
   sd_event_unref( event_ );
}

void
EventLoop::addReadable( int fd, Source& source, Urgency urgency ) {
   auto const handler = []( sd_event_source*, int, std::uint32_t, void* userdata ) {
      static_cast< Source* >( userdata )->run();
      return 0;
   };
   check( sd_event_add_io( event_, &source.source_, fd, EPOLLIN, handler, &source ),
          "can't watch a socket" );
   if ( urgency == Urgency::atLeisure )
      check( sd_event_source_set_priority( source.source_, SD_EVENT_PRIORITY_IDLE ),
             "can't order the event sources" );
}

void
EventLoop::addSignal( int number, Source& source ) {
   auto const handler = []( sd_event_source*, signalfd_siginfo const*, void* userdata ) {
      static_cast< Source* >( userdata )->run();
      return 0;
   };
   sigset_t blocked;
   sigemptyset( &blocked );
   sigaddset( &blocked, number );
   sigprocmask( SIG_BLOCK, &blocked, nullptr );
   check( sd_event_add_signal( event_, &source.source_, number, handler, &source ),
          "can't watch a signal" );
}

EventLoop::Source&
EventLoop::addTimer( Source& source ) {
   auto const handler = []( sd_event_source*, std::uint64_t, void* userdata ) {
      static_cast< Source* >( userdata )->run();
      return 0;
   };
   check( sd_event_add_time( event_, &source.source_, CLOCK_MONOTONIC, 0, 1, handler, &source ),
          "can't make a timer" );
   check( sd_event_source_set_enabled( source.source_, SD_EVENT_OFF ), "can't stop a timer" );
   return source;
}

void
EventLoop::run() {
   check( sd_event_loop( event_ ), "the event loop failed" );
   if ( failure_ )
      std::rethrow_exception( std::exchange( failure_, nullptr ) );
}

void
EventLoop::exit() {
   isLeaving_ = true;
   check( sd_event_exit( event_, 0 ), "can't leave the event loop" );
}

} // namespace Ufdd
