#pragma once

#include <atomic>
#include <cstdint>
#if __has_include( <sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace Zet {

// Returns true if the process has a second thread; counting is atomic then. With one thread nobody
// can come between reading and writing, and a locked instruction would be most of the cost.
inline bool
countsAreShared() noexcept {
#if __has_include( <sys/single_threaded.h>)
   return !__libc_single_threaded;
#else
   return true;
#endif
}

inline void
countUp( std::atomic< std::uint32_t >& count ) noexcept {
   if ( countsAreShared() ) [[unlikely]]
      count.fetch_add( 1, std::memory_order_relaxed );
   else
      count.store( count.load( std::memory_order_relaxed ) + 1, std::memory_order_relaxed );
}

// Returns the count before.
inline std::uint32_t
countDown( std::atomic< std::uint32_t >& count ) noexcept {
   if ( countsAreShared() ) [[unlikely]]
      return count.fetch_sub( 1, std::memory_order_acq_rel );
   std::uint32_t const before = count.load( std::memory_order_relaxed );
   count.store( before - 1, std::memory_order_relaxed );
   return before;
}

} // namespace Zet
