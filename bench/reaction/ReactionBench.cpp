// Measures the time from an uplink's loss of carrier until its ports are shut, with ufdd and its
// peers. Each program has a network namespace of its own. All run at once, and are tried one after
// another in random order. In the case with delayed messages they share one namespace, and all
// uplinks fail at once, because the kernel delays messages for the whole machine.
//   bench_reaction START-PEER CASE TRIALS [PEER...]
// Requires: a mount and a process namespace of its own, whose end ends everything.

#include "bench/reaction/Place.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <list>
#include <optional>
#include <poll.h>
#include <random>
#include <sched.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace Bench;
using Ufdd::Tap;
using Milliseconds = std::chrono::duration< double, std::milli >;

// Longer than the slowest program takes, and than the kernel takes to report that a thousand links
// have carrier again.
constexpr auto longest = 15s;
// Longer than the kernel delays messages about lost carriers.
constexpr auto spacing = 1300ms;
constexpr auto gapOfTaps = 50ms;
constexpr std::size_t burst = 10;

constexpr std::array cases{
   Case{ .name = "spaced-1" },
   Case{ .name = "spaced-8", .ports = 8 },
   Case{ .name = "spaced-48", .ports = 48 },
   Case{ .name = "spaced-512", .ports = 512, .rest = 3s },
   Case{ .name = "burst-1", .inBursts = true },
   Case{ .name = "loaded-1", .busyLoops = 3 },
   Case{ .name = "two-taps", .taps = true },
};

void
beforeAllOthers() {
   sched_param const parameters{ .sched_priority = 30 };
   if ( sched_setscheduler( 0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters ) < 0 )
      throw std::runtime_error( "no real-time scheduling: what is measured would be the load" );
}

void
newNamespace() {
   if ( unshare( CLONE_NEWNET ) < 0 )
      throw std::runtime_error( "no network namespace can be made" );
}

using Places = std::vector< Place* >;

std::mt19937 random( 1 );

// Waits for the condition in all places. Returns the places where it did not come true.
template < class Condition >
Places
await( Places places, Condition condition ) {
   auto const end = Clock::now() + longest;
   while ( !places.empty() && Clock::now() < end ) {
      std::vector< pollfd > readable;
      for ( Place const* const place : places )
         readable.push_back( { place->fd(), POLLIN, 0 } );
      poll( readable.data(), readable.size(), 100 );
      std::erase_if( places, [ & ]( Place* place ) { return condition( *place ); } );
   }
   return places;
}

// Makes a tap lose its carrier: for a second the kernel delays messages about lost carriers.
void
failAnother( Tap& tap, Places const& places ) {
   tap.carrierIs( false );
   if ( !await( places, []( Place& place ) { return place.hasAnotherFailed(); } ).empty() )
      throw std::runtime_error( "the kernel sends no message about a lost carrier" );
   // Ends at any time between two queries of ufdd.
   std::uniform_int_distribution< int > more( 0, 4000 );
   std::this_thread::sleep_for( gapOfTaps + std::chrono::microseconds( more( random ) ) );
}

// Makes the uplinks of all these places fail at once, and measures.
void
tryOnce( Places const& places ) {
   auto const isOpen = []( Place& place ) { return place.haveBecome( true ); };
   for ( Place* const place : places )
      place->fail();
   Places const late = await( places, []( Place& place ) {
      bool const areShut = place.haveBecome( false );
      if ( areShut )
         place.times.push_back( Milliseconds( Clock::now() - place.begin() ).count() );
      return areShut;
   } );
   for ( Place* const place : late )
      ++place->lost;
   std::this_thread::sleep_for( 5ms );
   for ( Place* const place : places )
      place->recover();
   for ( Place* const place : await( places, isOpen ) ) {
      // Some programs miss a change that comes soon after another.
      ++place->lost;
      place->open();
      if ( !await( { place }, isOpen ).empty() )
         throw std::runtime_error( "the ports of " + place->peer() + " can't be opened" );
   }
}

// Tries until the program reacts for the first time, which takes a while with some.
void
begin( Place& place ) {
   for ( int i = 0; i < 3 && place.times.empty(); ++i )
      tryOnce( { &place } );
   if ( place.times.empty() )
      throw std::runtime_error( place.peer() + " does not shut its ports" );
   place.times.clear();
   place.lost = 0;
}

double
percentile( std::vector< double > sorted, double part ) {
   std::sort( sorted.begin(), sorted.end() );
   auto const rank =
       static_cast< std::size_t >( std::ceil( part * static_cast< double >( sorted.size() ) ) );
   return sorted.empty() ? NAN : sorted[ std::max< std::size_t >( rank, 1 ) - 1 ];
}

void
measureTaps( Places places, Tap& tap, std::size_t trials ) {
   for ( std::size_t i = 0; i < trials; ++i ) {
      std::shuffle( places.begin(), places.end(), random );
      failAnother( tap, places );
      tryOnce( places );
      tap.carrierIs( true );
      std::this_thread::sleep_for( spacing );
   }
}

void
measure( Places places, Case const& about, std::size_t trials ) {
   auto const each = about.inBursts ? burst : 1;
   for ( std::size_t done = 0; done < trials; done += each ) {
      std::shuffle( places.begin(), places.end(), random );
      auto const next = Clock::now() + spacing;
      for ( Place* const place : places ) {
         for ( std::size_t i = 0; i < each; ++i )
            tryOnce( { place } );
         place->flushChanges();
         std::this_thread::sleep_for( about.rest );
      }
      if ( !about.inBursts )
         std::this_thread::sleep_until( next );
   }
}

bool
report( Places const& places, Case const& about ) {
   std::printf( "%-10s %-15s %6s %6s %9s %9s %9s\n", about.name.data(), "", "trials", "lost",
                "p50 ms", "p95 ms", "max ms" );
   auto const ours = [ & ]( double part ) { return percentile( places[ 0 ]->times, part ); };
   for ( Place const* const place : places ) {
      std::printf( "%-10s %-15s %6zu %6zu %9.3f %9.3f %9.3f\n", "", place->peer().c_str(),
                   place->times.size(), place->lost, percentile( place->times, .5 ),
                   percentile( place->times, .95 ), percentile( place->times, 1 ) );
   }
   for ( auto const& [ part, suffix ] : { std::pair( .5, "" ), std::pair( .95, "-p95" ) } )
      for ( Place const* const place : places )
         if ( place != places[ 0 ] )
            std::printf( "ratio reaction %s %s%s %.4f\n", place->peer().c_str(), about.name.data(),
                         suffix, ours( part ) / percentile( place->times, part ) );
   std::fflush( stdout );
   return places[ 0 ]->lost == 0;
}

void
keepBusy( int loops ) {
   for ( int i = 0; i < loops; ++i )
      if ( fork() == 0 ) {
         prctl( PR_SET_PDEATHSIG, SIGKILL );
         for ( std::atomic< unsigned int > turns;; )
            ++turns;
      }
}

bool
run( Case const& about, std::string const& startPeer, std::vector< std::string > const& peers,
     std::size_t trials ) {
   std::list< Place > all;
   Places places;
   std::optional< Tap > tap;
   if ( about.taps ) {
      newNamespace();
      tap.emplace( another );
      ip( std::string( "link set " ) + another + " up\n" );
   }
   for ( std::string const& peer : peers ) {
      if ( !about.taps )
         newNamespace();
      places.push_back( &all.emplace_back( peer, places.size(), about, startPeer ) );
   }
   std::this_thread::sleep_for( 1s );
   beforeAllOthers();
   for ( Place* const place : places )
      begin( *place );
   keepBusy( about.busyLoops );
   std::this_thread::sleep_for( spacing );
   if ( tap )
      measureTaps( places, *tap, trials );
   else
      measure( places, about, trials );
   return report( places, about );
}

} // namespace

int
main( int argc, char** argv ) {
   auto const* const about = std::find_if( cases.begin(), cases.end(), [ & ]( Case const& one ) {
      return argc > 3 && one.name == argv[ 2 ];
   } );
   int const trials = argc > 3 ? std::atoi( argv[ 3 ] ) : 0;
   if ( about == cases.end() || trials < 1 ) {
      std::fprintf( stderr, "usage: bench_reaction START-PEER CASE TRIALS PEER...\n" );
      return 64;
   }
   try {
      std::vector< std::string > peers{ "ufdd" };
      peers.insert( peers.end(), argv + 4, argv + argc );
      return run( *about, argv[ 1 ], peers, static_cast< std::size_t >( trials ) ) ? EXIT_SUCCESS
                                                                                   : EXIT_FAILURE;
   } catch ( std::exception const& error ) {
      std::fprintf( stderr, "bench_reaction: %s\n", error.what() );
      return EXIT_FAILURE;
   }
}
