#include "bench/dispatch/Dispatch.h"

#include <boost/make_shared.hpp>
#include <boost/signals2.hpp>

namespace {

class Plain {
 public:
   template < int Kind > void observe() {
      Bench::Sum& sum = sums_.add();
      signal_.connect( [ &sum ]( unsigned int value ) { sum.add< Kind >( value ); } );
   }
   void set( unsigned int value ) {
      if ( value != std::exchange( value_, value ) )
         signal_( value );
   }
   std::uint64_t sum() const { return sumOf( sums_ ); }

 private:
   unsigned int value_ = 0;
   Bench::Scattered< Bench::Sum > sums_;
   boost::signals2::signal< void( unsigned int ) > signal_;
};

// Each observer is kept alive for the time of its call, as ours are.
class Tracked {
   using Signal = boost::signals2::signal< void( unsigned int ) >;

 public:
   template < int Kind > void observe() {
      auto const& sum = sums_.add( boost::make_shared< Bench::Sum >() );
      auto const handler = [ raw = sum.get() ]( unsigned int value ) { raw->add< Kind >( value ); };
      signal_.connect( Signal::slot_type( handler ).track( sum ) );
   }
   void set( unsigned int value ) {
      if ( value != std::exchange( value_, value ) )
         signal_( value );
   }
   std::uint64_t sum() const {
      std::uint64_t sum = 0;
      for ( auto const& one : sums_.all() )
         sum += ( *one )->sum;
      return sum;
   }

 private:
   unsigned int value_ = 0;
   Bench::Scattered< boost::shared_ptr< Bench::Sum > > sums_;
   Signal signal_;
};

} // namespace

void
Bench::addSignals2() {
   addSubject< Plain >( "signals2" );
   addSubject< Tracked >( "signals2-tracked" );
}
