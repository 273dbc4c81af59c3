#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>

// What the benchmarks share. Each is a program bench_NAME that compares this project with peers,
// in cases; scripts/bench makes a table of what it measures.
namespace Bench {

// Registers what a peer takes for a case. The peer "ours" is this project: its figure is divided
// by that of each other peer in the same case.
template < class Run >
benchmark::internal::Benchmark*
add( std::string const& peer, std::string const& name, Run run ) {
   return benchmark::RegisterBenchmark( ( peer + "/" + name ).c_str(), run );
}

// How many iterations there were.
inline std::uint64_t
rounds( benchmark::State const& state ) {
   return static_cast< std::uint64_t >( state.iterations() );
}

// Each iteration does `count` of what the case is about: the figure is the time of one of them.
// To be called once, after the loop; without it, the figure is the time of an iteration.
inline void
each( benchmark::State& state, std::size_t count ) {
   using benchmark::Counter;
   state.counters[ "each" ] =
       Counter( static_cast< double >( rounds( state ) ) * static_cast< double >( count ),
                Counter::kIsRate | Counter::kInvert );
}

// The bytes that the case takes, or makes: they get a table of their own, as the case CASE-bytes.
inline void
bytes( benchmark::State& state, double count ) {
   state.counters[ "bytes" ] = count;
}

// Ends the program, which fails, unless the work had the right result.
void check( bool right, char const* what );

// To be defined by each program: adds its benchmarks.
void benchmarks();

} // namespace Bench
