#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

std::size_t Tests::allocations = 0;

void*
operator new( std::size_t size ) {
   ++Tests::allocations;
   if ( void* const memory = std::malloc( size ) )
      return memory;
   throw std::bad_alloc();
}

void
operator delete( void* memory ) noexcept {
   std::free( memory );
}

void
operator delete( void* memory, std::size_t ) noexcept {
   std::free( memory );
}
