#include "tests/sm/PlainDetector.h"
#include "tests/support/RandomSequences.h"

namespace Scenario {

namespace {

using Sequence = std::vector< Event >;

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

std::string
complaintAbout( Sequence const& sequence ) {
   World world;
   PlainDetector plain;
   for ( Event const& event : sequence ) {
      world.apply( event );
      plain.apply( event );
      std::string const real = world.heard() + " => " + world.state();
      std::string const expected = plain.heard() + " => " + plain.state();
      if ( real != expected )
         return "is:       " + real + "\nought to: " + expected;
   }
   return "";
}

TEST( DetectorModel, RandomSequencesDoAsThePlainDetector ) {
   Tests::SequenceTest< Event >{ randomSequence, complaintAbout, text }.playMany( 20000 );
}

} // namespace

} // namespace Scenario
