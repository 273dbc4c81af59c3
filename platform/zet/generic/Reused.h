#pragma once

#include "platform/zet/Ptr.h"

#include <utility>

namespace Zet {

// Makes objects of class T. Pays where most are dropped before the next is made, as interfaces of
// values are. Keeps the last object and renews it when nobody else holds it. That takes a few
// stores and no allocation. T offers isAsMade() and renew( arguments ), which does the
// constructor's work.
template < class T > class Reused {
 public:
   // Arguments are passed by value, so that those that fit registers are never in memory.
   template < class... Argument >
   [[gnu::always_inline]] static Ptr< T > newObject( Argument... argument ) {
      if ( last_ && last_->isAsMade() ) [[likely]]
         last_->renew( std::move( argument )... );
      else
         another( std::move( argument )... );
      return last_;
   }

 private:
   // Makes another object, because somebody still holds the last one.
   template < class... Argument > [[gnu::noinline]] static void another( Argument... argument ) {
      Ptr< T > made = make< T >( std::move( argument )... );
      Ptr< T >::adopt( std::exchange( last_, made.release() ) );
   }

   // Holds a reference until the process ends.
   static inline constinit T* last_ = nullptr;
};

} // namespace Zet
