#include "platform/zet/StackArena.h"

#include <functional>
#include <new>

namespace Zet {

namespace {

// Room for the snapshots of some four thousand notifiees.
alignas( std::max_align_t ) unsigned char block[ 32 * 1024 ];
unsigned char* top = block;

bool
isInBlock( unsigned char const* memory ) {
   std::less<> const before;
   return !before( memory, block ) && before( memory, block + sizeof block );
}

} // namespace

void*
stackArenaNew( std::size_t bytes ) {
   std::size_t constexpr alignment = alignof( std::max_align_t );
   std::size_t const size = ( bytes + alignment - 1 ) / alignment * alignment;
   if ( size > static_cast< std::size_t >( block + sizeof block - top ) )
      return ::operator new( bytes );
   unsigned char* const memory = top;
   top += size;
   return memory;
}

void
stackArenaDelete( void* memory ) noexcept {
   auto* const bytes = static_cast< unsigned char* >( memory );
   if ( isInBlock( bytes ) )
      top = bytes;
   else
      ::operator delete( memory );
}

} // namespace Zet
