#pragma once

#include <cstddef>

namespace Tests {

// How many times operator new has been called in this process. Stays at 0 under a memory checker
// that replaces ours.
extern std::size_t allocations;
// How many bytes of those are in use. Those that free() keeps for the next time are not, though
// mallinfo() takes them for it.
extern std::size_t allocatedBytes;

template < class Operation >
std::size_t
allocationsOf( Operation operation ) {
   std::size_t const before = allocations;
   operation();
   return allocations - before;
}

} // namespace Tests
