#include "bench/dispatch/Dispatch.h"

#include <sigc++/sigc++.h>

namespace {

class Sigc {
   // Leaves the signal when it is destroyed.
   struct Observer : sigc::trackable, Bench::Sum {};

 public:
   template < int Kind > void observe() {
      signal_.connect( sigc::mem_fun( observers_.add(), &Observer::template add< Kind > ) );
   }
   void set( unsigned int value ) {
      if ( value != std::exchange( value_, value ) )
         signal_.emit( value );
   }
   std::uint64_t sum() const { return sumOf( observers_ ); }

 private:
   unsigned int value_ = 0;
   Bench::Scattered< Observer > observers_;
   sigc::signal< void( unsigned int ) > signal_;
};

} // namespace

void
Bench::addSigc() {
   addSubject< Sigc >( "sigc" );
}
