#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Memory for what is given back in the reverse order of taking: the snapshots of dispatches, which
// nest. It comes from one block that is always there, and from the heap only past its end.
ZET_EXPORT void* stackArenaNew( std::size_t bytes );
ZET_EXPORT void stackArenaDelete( void* memory ) noexcept;

// Has a container live there. Requires: containers die in the reverse order of their growth.
template < class T > struct StackArenaAllocator {
   using value_type = T;

   StackArenaAllocator() noexcept = default;
   template < class U > StackArenaAllocator( StackArenaAllocator< U > const& ) noexcept {}

   T* allocate( std::size_t count ) {
      return static_cast< T* >( stackArenaNew( count * sizeof( T ) ) );
   }
   void deallocate( T* memory, std::size_t ) noexcept { stackArenaDelete( memory ); }

   bool operator==( StackArenaAllocator const& ) const noexcept { return true; }
};

} // namespace Zet
