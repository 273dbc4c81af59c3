#pragma once

#include "platform/zet/Ptr.h"

#include <utility>

namespace Zet {

// Makes objects of class T, most of which are dropped before the next is made, as the interfaces of
// values are: the last one is kept and made anew then, which takes a few stores and allocates
// nothing. T offers isAsMade() and renew( arguments ), which does what the constructor would.
template < class T > class Reused {
 public:
   template < class... Argument >
   [[gnu::always_inline]] static Ptr< T > newObject( Argument&&... argument ) {
      if ( last_ && last_->isAsMade() ) [[likely]]
         last_->renew( std::forward< Argument >( argument )... );
      else
         another( std::forward< Argument >( argument )... );
      return last_;
   }

 private:
   // Somebody has the last one still, and maybe keeps it.
   template < class... Argument > [[gnu::noinline]] static void another( Argument&&... argument ) {
      Ptr< T > made = make< T >( std::forward< Argument >( argument )... );
      Ptr< T >::adopt( std::exchange( last_, made.release() ) );
   }

   // Holds a reference, to the end of the process.
   static inline constinit T* last_ = nullptr;
};

} // namespace Zet
