#include "platform/zet/generic/CellPool.h"

#include <new>

namespace Zet {

namespace {

constexpr std::size_t cellSize = 160;

union Cell {
   Cell* next;
   alignas( std::max_align_t ) unsigned char bytes[ cellSize ];
};

Cell firstCells[ 32 ];
std::size_t firstCellsUsed = 0;
Cell* freeCells = nullptr;

} // namespace

void*
cellNew( std::size_t size ) {
   if ( size > cellSize )
      return ::operator new( size );
   if ( Cell* const cell = freeCells ) {
      freeCells = cell->next;
      return cell;
   }
   if ( firstCellsUsed < sizeof firstCells / sizeof firstCells[ 0 ] )
      return &firstCells[ firstCellsUsed++ ];
   return ::operator new( sizeof( Cell ) );
}

void
cellDelete( void* memory, std::size_t size ) noexcept {
   if ( size > cellSize ) {
      ::operator delete( memory );
      return;
   }
   auto* const cell = static_cast< Cell* >( memory );
   cell->next = freeCells;
   freeCells = cell;
}

} // namespace Zet
