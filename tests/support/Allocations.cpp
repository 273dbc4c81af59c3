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

void
operator delete( void* memory ) noexcept {
   Tests::allocatedBytes -= malloc_usable_size( memory );
   std::free( memory );
}

void
operator delete( void* memory, std::size_t ) noexcept {
   operator delete( memory );
}
