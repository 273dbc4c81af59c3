#include "platform/zet/ObjectPool.h"

#include <algorithm>
#include <new>
#include <utility>

// Under a sanitizer objects come from the heap, whose misuse it finds.
#if defined( __has_feature )
#if __has_feature( address_sanitizer ) || __has_feature( memory_sanitizer ) ||                     \
    __has_feature( thread_sanitizer )
#define ZET_OBJECTS_FROM_HEAP
#endif
#elif defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
#define ZET_OBJECTS_FROM_HEAP
#endif

namespace Zet {

namespace {

#ifdef ZET_OBJECTS_FROM_HEAP
constexpr std::size_t largest = 0;
#else
constexpr std::size_t largest = 256;
#endif

// An object whose size is no multiple of 16 needs no alignment to 16.
constexpr std::size_t unit = 8;

// Memory for objects of one size.
class Pool {
 public:
   void* take( std::size_t bytes ) {
      if ( free_ ) {
         void* const taken = std::exchange( free_, free_->next );
         // Makes the processor load the next one, which may be far away.
         __builtin_prefetch( free_ );
         return taken;
      }
      if ( left_ < bytes )
         refill();
      left_ -= bytes;
      return std::exchange( unused_, unused_ + bytes );
   }
   void giveBack( void* memory ) noexcept { free_ = new ( memory ) Free{ free_ }; }

 private:
   struct Free {
      Free* next;
   };
   struct alignas( std::max_align_t ) Slab {
      Slab* earlier;
   };

   // Slabs grow, so that a process with few objects needs little memory. With the heap's own header
   // they fill pages.
   static constexpr std::size_t heapHeader = 16;
   static constexpr std::size_t largestSlab = 4096;

   [[gnu::noinline]] void refill() {
      std::size_t const bytes = nextSlab_ - heapHeader;
      newest_ = new ( ::operator new( bytes ) ) Slab{ newest_ };
      unused_ = reinterpret_cast< unsigned char* >( newest_ + 1 );
      left_ = bytes - sizeof( Slab );
      nextSlab_ = std::min( 2 * nextSlab_, largestSlab );
   }

   Free* free_ = nullptr;
   // The rest of the newest slab, which has never been used.
   unsigned char* unused_ = nullptr;
   std::size_t left_ = 0;
   std::size_t nextSlab_ = 512;
   Slab* newest_ = nullptr;
};

// By the size in units.
thread_local Pool pools[ largest / unit + 1 ];

constexpr std::size_t
unitsFor( std::size_t bytes ) noexcept {
   return ( bytes + unit - 1 ) / unit;
}

} // namespace

void*
objectPoolNew( std::size_t bytes ) {
   if ( bytes > largest )
      return ::operator new( bytes );
   return pools[ unitsFor( bytes ) ].take( unitsFor( bytes ) * unit );
}

void
objectPoolDelete( void* memory, std::size_t bytes ) noexcept {
   if ( bytes > largest )
      ::operator delete( memory );
   else
      pools[ unitsFor( bytes ) ].giveBack( memory );
}

} // namespace Zet
