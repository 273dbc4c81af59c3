#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Memory for small short-lived objects such as value interfaces: cells that are used again, the
// first of them there from the start, so that passing a value allocates nothing.
class ZET_EXPORT CellPool {
 public:
   static void* cellNew( std::size_t size ) {
      if ( firstIsTaken_ || size > cellSize ) [[unlikely]]
         return another( size );
      firstIsTaken_ = true;
      return &first_;
   }
   static void cellDelete( void* memory, std::size_t size ) noexcept {
      if ( memory == &first_ ) [[likely]]
         firstIsTaken_ = false;
      else
         giveBack( memory, size );
   }

 private:
   static constexpr std::size_t cellSize = 160;

   union Cell {
      Cell* next;
      alignas( std::max_align_t ) std::byte bytes[ cellSize ];
   };

   static void* another( std::size_t size );
   static void giveBack( void* memory, std::size_t size ) noexcept;

   // By far most values are alone. This cell is for them: taking it and giving it back is a flag,
   // and no list is followed.
   static Cell first_;
   static bool firstIsTaken_;
   static Cell more_[ 31 ];
   static std::size_t moreUsed_;
   static Cell* free_;
};

} // namespace Zet
