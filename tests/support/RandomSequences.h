#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Tests {

// Returns the number in a variable of the environment.
inline std::uint64_t
environment( char const* variable, std::uint64_t otherwise ) {
   char const* const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 0 ) : otherwise;
}

// Leaves out events as long as something is wrong.
template < class Sequence, class IsWrong >
Sequence
shrunk( Sequence sequence, IsWrong isWrong ) {
   for ( std::size_t at = sequence.size(); at-- > 0; ) {
      Sequence shorter = sequence;
      shorter.erase( shorter.begin() + static_cast< std::ptrdiff_t >( at ) );
      if ( isWrong( shorter ) ) {
         sequence = std::move( shorter );
         at = sequence.size();
      }
   }
   return sequence;
}

// What random sequences of events are made by, and judged by: the text is empty where all is well.
template < class Event > struct SequenceTest {
   using Sequence = std::vector< Event >;
   Sequence ( *random )( std::uint64_t seed );
   std::string ( *complaintAbout )( Sequence const& sequence );
   std::string ( *text )( Sequence const& sequence );

   void play( std::uint64_t seed ) const {
      Sequence const sequence = random( seed );
      if ( complaintAbout( sequence ).empty() )
         return;
      Sequence const shortest = shrunk(
          sequence, [ & ]( Sequence const& each ) { return !complaintAbout( each ).empty(); } );
      FAIL() << "UFD_SEED=" << seed << ": " << text( shortest ) << '\n'
             << complaintAbout( shortest );
   }
   // UFD_SEED=N UFD_SEQUENCES=1 repeats the sequence of seed N.
   void playMany( std::uint64_t sequences ) const {
      std::uint64_t const seed = environment( "UFD_SEED", std::random_device()() );
      sequences = environment( "UFD_SEQUENCES", sequences );
      std::cout << "UFD_SEED=" << seed << " UFD_SEQUENCES=" << sequences << '\n';
      for ( std::uint64_t number = 0; number < sequences && !testing::Test::HasFailure(); ++number )
         play( seed + number );
   }
};

} // namespace Tests
