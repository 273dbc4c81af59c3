#include "tests/sim/World.h"
#include "tests/support/Allocations.h"
#include "tests/support/RandomSequences.h"

#include <gtest/gtest.h>

#include <iostream>
#include <random>

namespace Simulation {

namespace {

struct Outcome {
   std::string complaint; // Empty if all was right.
   std::string story;
   std::size_t events; // Number of events until the complaint.
};

Outcome
outcomeOf( std::uint64_t seed, Schedule const& schedule ) {
   World world( seed );
   std::size_t events = 0;
   for ( ; events < schedule.size() && world.complaint().empty(); ++events )
      world.apply( schedule[ events ] );
   if ( world.complaint().empty() )
      world.conclude();
   return { world.complaint(), world.story(), events };
}

// Removes events while there still is a complaint.
Schedule
shrunk( std::uint64_t seed, Schedule schedule ) {
   while ( schedule.size() > outcomeOf( seed, schedule ).events )
      schedule.pop_back();
   return Tests::shrunk( schedule, [ & ]( Schedule const& shorter ) {
      return !outcomeOf( seed, shorter ).complaint.empty();
   } );
}

// A part of the schedules, since one processor would be busy with them all long after the others
// have done the other tests.
class Part : public testing::TestWithParam< std::uint64_t > {};
constexpr std::uint64_t parts = 4;
INSTANTIATE_TEST_SUITE_P( Simulation, Part, testing::Range( std::uint64_t{ 0 }, parts ) );

// UFD_SEED=N UFD_SEQUENCES=1 repeats the schedule of seed N; UFD_SEED=0 draws seeds at random.
TEST_P( Part, DaemonIsRightWhateverHappens ) {
   std::uint64_t const given = Tests::environment( "UFD_SEED", 1 );
   std::uint64_t const seed = given != 0 ? given : std::random_device()();
   // A schedule takes as long as four of the sequences that other tests count.
   std::uint64_t const sequences = Tests::environment( "UFD_SEQUENCES", 80000 );
   std::uint64_t const schedules = ( sequences + 3 ) / 4;
   std::cout << "UFD_SEED=" << seed << " UFD_SEQUENCES=" << sequences << '\n';
   for ( std::uint64_t number = seed + GetParam(); number < seed + schedules; number += parts ) {
      Schedule const schedule = randomSchedule( number );
      if ( outcomeOf( number, schedule ).complaint.empty() )
         continue;
      Outcome const outcome = outcomeOf( number, shrunk( number, schedule ) );
      FAIL() << "UFD_SEED=" << number << ": " << outcome.complaint << '\n'
             << PlainConfig( number ).toml() << outcome.story;
   }
}

// Applies the same schedules to one daemon again and again.
TEST( Simulation, DaemonDoesNotGrow ) {
   World world( 1 );
   std::size_t used[ 2 ] = {};
   // Both halves end with the same schedule.
   std::uint64_t const half = 50 * ( Tests::environment( "UFD_SEQUENCES", 80000 ) / 2000 + 1 );
   for ( std::uint64_t round = 0; round < 2 * half; ++round ) {
      for ( Event const& event : randomSchedule( round % 50 ) )
         if ( event.verb != "kill" && event.verb != "stop" )
            world.apply( event );
      world.apply( { "rest", 0, 0, none } );
      ASSERT_EQ( world.complaint(), "" );
      world.forget();
      used[ round / half ] = Tests::allocatedBytes;
   }
   EXPECT_LT( used[ 1 ], used[ 0 ] + 2048 );
}

} // namespace

} // namespace Simulation
