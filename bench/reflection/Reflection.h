#pragma once

#include "bench/Frame.h"

#include <cstdint>
#include <string>

// The work of the benchmark: a number of an object with four attributes is read, or set to another
// value, by somebody who learns at run time which one.
namespace Bench {

// As it arrives.
inline char const* volatile attributeName = "minLinks";

template < class Get >
void
addGet( std::string const& peer, std::string const& how, Get get ) {
   add( peer, "get-" + how, [ get ]( benchmark::State& state ) {
      std::uint64_t sum = 0;
      for ( auto _ : state )
         sum += get();
      check( sum == 7 * rounds( state ), "read" );
   } );
}

// `get` reads without reflection.
template < class Set, class Get >
void
addSet( std::string const& peer, std::string const& how, Set set, Get get ) {
   add( peer, "set-" + how, [ set, get ]( benchmark::State& state ) {
      unsigned int number = 1000;
      for ( auto _ : state )
         set( ++number );
      check( get() == number, "set" );
      set( 7u );
   } );
}

void addQt();
void addGobject();

} // namespace Bench
