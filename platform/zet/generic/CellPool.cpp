#include "platform/zet/generic/CellPool.h"

#include <new>

namespace Zet {

CellPool::Cell CellPool::first_;
bool CellPool::firstIsTaken_ = false;
CellPool::Cell CellPool::more_[];
std::size_t CellPool::moreUsed_ = 0;
CellPool::Cell* CellPool::free_ = nullptr;

void*
CellPool::another( std::size_t size ) {
   if ( size > cellSize )
      return ::operator new( size );
   if ( Cell* const cell = free_ ) {
      free_ = cell->next;
      return cell;
   }
   if ( moreUsed_ < sizeof more_ / sizeof more_[ 0 ] )
      return &more_[ moreUsed_++ ];
   return ::operator new( sizeof( Cell ) );
}

void
CellPool::giveBack( void* memory, std::size_t size ) noexcept {
   if ( size > cellSize ) {
      ::operator delete( memory );
      return;
   }
   auto* const cell = static_cast< Cell* >( memory );
   cell->next = free_;
   free_ = cell;
}

} // namespace Zet
