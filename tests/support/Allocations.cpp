#include "tests/support/Allocations.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

std::size_t Tests::allocations = 0;
std::size_t Tests::allocatedBytes = 0;

void*
operator new( std::size_t size ) {
   ++Tests::allocations;
   void* const memory = std::malloc( size );
   if ( !memory )
      throw std::bad_alloc();
   Tests::allocatedBytes += malloc_usable_size( memory );
   return memory;
}

// A memory checker's own would give out what the operator below does not take.
void*
operator new( std::size_t size, std::nothrow_t const& ) noexcept {
   try {
      return operator new( size );
   } catch ( std::bad_alloc const& ) {
      return nullptr;
   }
}

void
operator delete( void* memory ) noexcept {
   Tests::allocatedBytes -= malloc_usable_size( memory );
   std::free( memory );
}

void
operator delete( void* memory, std::size_t ) noexcept {
   operator delete( memory );
}
