#pragma once

#include "bench/Frame.h"

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

// A subject whose value is changed tells its observers. Each adds the value up. What a peer brings
// is a subject:
//
//    struct Subject {
//       // One more observer, with the handler of that kind.
//       template < int Kind > void observe();
//
//       // Tells them all.
//       void set( unsigned int value );
//
//       // The sum of what its observers have added.
//       std::uint64_t sum() const;
//    };
namespace Bench {

// What an observer adds up. As big as an object that has more to do.
struct Sum {
   template < int Kind > void add( unsigned int value ) noexcept { sum += value + Kind; }
   std::uint64_t sum = 0;
   char rest[ 56 ] = {};
};

// Objects of their own on the heap, with others in between.
template < class T > class Scattered {
 public:
   template < class... Argument > T& add( Argument&&... argument ) {
      between_.emplace_back( new char[ 1 + random_() % 200 ] );
      all_.push_back( std::make_unique< T >( std::forward< Argument >( argument )... ) );
      return *all_.back();
   }
   std::vector< std::unique_ptr< T > > const& all() const { return all_; }

 private:
   std::mt19937 random_{ 7 };
   std::vector< std::unique_ptr< char[] > > between_;
   std::vector< std::unique_ptr< T > > all_;
};

template < class T >
std::uint64_t
sumOf( Scattered< T > const& observers ) {
   std::uint64_t sum = 0;
   for ( auto const& observer : observers.all() )
      sum += observer->sum;
   return sum;
}

template < class Subject >
void
dispatch( benchmark::State& state, unsigned int observers, bool mixed ) {
   Subject subject;
   std::mt19937 random( 9 );
   std::uint64_t kinds = 0;
   for ( unsigned int i = 0; i < observers; ++i ) {
      unsigned int const kind = mixed ? random() % 4 : 0;
      kinds += kind;
      switch ( kind ) {
      case 0:
         subject.template observe< 0 >();
         break;
      case 1:
         subject.template observe< 1 >();
         break;
      case 2:
         subject.template observe< 2 >();
         break;
      default:
         subject.template observe< 3 >();
      }
   }
   // From the value that none of the subjects has at first.
   unsigned int value = 1;
   std::uint64_t expected = 0;
   for ( auto _ : state ) {
      subject.set( ++value );
      expected += value;
   }
   expected = expected * observers + rounds( state ) * kinds;
   check( subject.sum() == expected, "an observer has not heard of every change" );
}

template < class Subject >
void
addSubject( std::string const& peer ) {
   for ( bool const mixed : { false, true } )
      for ( unsigned int const observers : { 1u, 8u, 64u, 1000u } )
         add(
             peer, std::to_string( observers ) + ( mixed ? "-mixed" : "" ),
             [ = ]( benchmark::State& state ) { dispatch< Subject >( state, observers, mixed ); } );
}

void addSignals2();
void addQt();
void addSigc();
void addGlib();

} // namespace Bench
