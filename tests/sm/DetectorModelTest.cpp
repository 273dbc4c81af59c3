#include "tests/sm/PlainDetector.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>

namespace Scenario {

namespace {

using Sequence = std::vector< Event >;

std::uint64_t
environment( char const* variable, std::uint64_t otherwise ) {
   char const* const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 0 ) : otherwise;
}

Sequence
randomSequence( std::uint64_t seed ) {
   // The likelier, the more often.
   static constexpr Verb verbs[] = {
      Verb::group,     Verb::group,   Verb::group,   Verb::ungroup, Verb::monitor, Verb::monitor,
      Verb::monitor,   Verb::monitor, Verb::monitor, Verb::count,   Verb::count,   Verb::unmonitor,
      Verb::unmonitor, Verb::disable, Verb::disable, Verb::disable, Verb::disable, Verb::release,
      Verb::min,       Verb::min,     Verb::min,     Verb::appear,  Verb::appear,  Verb::appear,
      Verb::appear,    Verb::vanish,  Verb::up,      Verb::up,      Verb::up,      Verb::up,
      Verb::up,        Verb::up,      Verb::down,    Verb::down,    Verb::down,    Verb::wait,
      Verb::wait,      Verb::wait,    Verb::start,   Verb::start,   Verb::stop,    Verb::swap,
   };
   std::mt19937_64 random( seed );
   auto const below = [ & ]( std::uint64_t bound ) { return random() % bound; };
   Sequence sequence( 40 );
   for ( Event& event : sequence )
      event = { verbs[ below( std::size( verbs ) ) ], "ghk"[ below( 3 ) ], "ABCDEF"[ below( 6 ) ],
                static_cast< unsigned int >( below( 4 ) ) };
   // Some start on an empty configuration, some on what has gathered by then, a few never.
   if ( below( 2 ) == 0 )
      sequence.front().verb = Verb::start;
   return sequence;
}

struct Difference {
   std::size_t at; // The index of the event that made it.
   std::string text;
};

std::optional< Difference >
differenceOf( Sequence const& sequence ) {
   World world;
   PlainDetector plain;
   for ( std::size_t at = 0; at < sequence.size(); ++at ) {
      world.apply( sequence[ at ] );
      plain.apply( sequence[ at ] );
      std::string const real = world.heard() + " => " + world.state();
      std::string const expected = plain.heard() + " => " + plain.state();
      if ( real != expected )
         return Difference{ at, "is:       " + real + "\nought to: " + expected };
   }
   return std::nullopt;
}

// Leaves out events as long as a difference remains.
Sequence
shrunk( Sequence sequence ) {
   sequence.resize( differenceOf( sequence )->at + 1 );
   for ( std::size_t at = sequence.size(); at-- > 0; ) {
      Sequence shorter = sequence;
      shorter.erase( shorter.begin() + static_cast< std::ptrdiff_t >( at ) );
      if ( auto const difference = differenceOf( shorter ) ) {
         shorter.resize( difference->at + 1 );
         sequence = shorter;
         at = sequence.size();
      }
   }
   return sequence;
}

// UFD_SEED=N UFD_SEQUENCES=1 repeats the sequence of seed N.
TEST( DetectorModel, RandomSequencesDoAsThePlainDetector ) {
   std::uint64_t const seed = environment( "UFD_SEED", std::random_device()() );
   std::uint64_t const sequences = environment( "UFD_SEQUENCES", 20000 );
   std::cout << "UFD_SEED=" << seed << " UFD_SEQUENCES=" << sequences << '\n';
   for ( std::uint64_t number = 0; number < sequences; ++number ) {
      Sequence const sequence = randomSequence( seed + number );
      if ( !differenceOf( sequence ) )
         continue;
      Sequence const shortest = shrunk( sequence );
      FAIL() << "UFD_SEED=" << seed + number << ": " << text( shortest ) << '\n'
             << differenceOf( shortest )->text;
   }
}

} // namespace

} // namespace Scenario
