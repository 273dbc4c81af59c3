#include "bench/Frame.h"
#include "bench/lookup/Containers.h"

namespace {

using namespace Bench;

// Every key once, each without waiting for the one before.
template < class C, class Keys >
void
find( benchmark::State& state, C const& container, Keys const& keys, bool present ) {
   std::uint64_t sum = 0;
   for ( auto _ : state ) {
      for ( auto const& key : keys )
         if ( auto const* const member = container.find( key ) )
            sum += member->value;
      benchmark::ClobberMemory();
   }
   check( sum == ( present ? rounds( state ) * keys.size() : 0 ), "found too little or much" );
   each( state, keys.size() );
}

template < class C, class Walk >
void
walk( benchmark::State& state, C const& container, Walk walk ) {
   std::uint64_t sum = 0;
   for ( auto _ : state ) {
      walk( container, [ & ]( auto const& member ) { sum += member.value; } );
      benchmark::ClobberMemory();
   }
   check( sum == rounds( state ) * container.count(), "not all was walked" );
   each( state, container.count() );
}

// Registers what that container does with the population of each size.
template < class C, class Run >
void
addSizes( char const* peer, std::string const& what, Run run ) {
   for ( std::size_t const size : { 64u, 1024u, 65536u } )
      add( peer, C::By::prefix + what + "-" + std::to_string( size ),
           [ = ]( benchmark::State& state ) {
              run( state, Population< typename C::By >::of( size ) );
           } );
}

template < class C >
void
addFinding( char const* peer ) {
   addSizes< C >( peer, "hit", []( auto& state, auto const& population ) {
      find( state, C( population ), C::hits( population ), true );
   } );
   if constexpr ( requires { C::misses; } )
      addSizes< C >( peer, "miss", []( auto& state, auto const& population ) {
         find( state, C( population ), C::misses( population ), false );
      } );
}

template < class C >
void
addWalkingAndBuilding( char const* peer ) {
   addSizes< C >( peer, "walk", []( auto& state, auto const& population ) {
      walk( state, C( population ), []( C const& all, auto visit ) { all.walk( visit ); } );
   } );
   addSizes< C >( peer, "iterate", []( auto& state, auto const& population ) {
      walk( state, C( population ), []( C const& all, auto visit ) { all.iterate( visit ); } );
   } );
   // And taking it down again.
   addSizes< C >( peer, "build", []( auto& state, auto const& population ) {
      for ( [[maybe_unused]] auto _ : state )
         check( C( population ).count() == population.members.size(), "not all is in it" );
      each( state, population.members.size() );
   } );
}

template < template < class > class Container >
void
addContainer( char const* peer ) {
   addFinding< Container< ById > >( peer );
   addWalkingAndBuilding< Container< ById > >( peer );
   addFinding< Container< ByName > >( peer );
}

} // namespace

void
Bench::benchmarks() {
   addContainer< Ours >( "ours" );
   addContainer< Index >( "floor" );
   addContainer< Absl >( "absl" );
   addContainer< Intrusive >( "boost-intrusive" );
   addContainer< Std >( "std" );
}
