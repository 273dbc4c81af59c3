#include "bench/Frame.h"
#include "sm/Root.h"

#include <ctime>
#include <string>
#include <vector>

// What ending things costs, per member, at two sizes ten times apart: the same, or the cost of
// the whole grows faster than the whole does. Building up and tearing down are not timed.
namespace {

using namespace UplinkFailureDetection;

// In seconds. Of this process alone: a busy machine changes it little.
double
processorTime() {
   timespec time{};
   clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &time );
   return static_cast< double >( time.tv_sec ) + static_cast< double >( time.tv_nsec ) * 1e-9;
}

std::vector< Kelnet::IntfId >
interfaces( std::size_t count ) {
   std::vector< Kelnet::IntfId > result;
   for ( std::size_t number = 0; number < count; ++number )
      result.emplace_back( "Ethernet" + std::to_string( number ) );
   return result;
}

Zet::Ptr< Config >
configOf( std::size_t groups ) {
   auto const config = configFactory( "config" );
   for ( std::size_t number = 0; number < groups; ++number )
      config->groupIs( "group" + std::to_string( number ) );
   return config;
}

Zet::Ptr< GroupConfig >
groupOf( std::size_t members ) {
   auto const group = GroupConfig::GroupConfigIs( "group" );
   for ( Kelnet::IntfId const id : interfaces( members ) )
      group->intfsToMonitorIs( id, true );
   return group;
}

// Groups that share a directory, a cause and two uplinks, each with a downstream interface of its
// own. One uplink is down, so that every downstream interface is disabled.
struct Detector {
   explicit Detector( std::size_t groups ) : config( configOf( groups ) ) {
      Kelnet::IntfId const up( "uplink1" );
      Kelnet::IntfId const down( "uplink2" );
      dir->intfStatusIs( up )->operStatusIs( Interface::OperStatus::up );
      dir->intfStatusIs( down );
      std::vector< Kelnet::IntfId > const downstream = interfaces( groups );
      auto port = downstream.begin();
      for ( auto at = config->groupIterator(); at; ++at ) {
         at->minLinksIs( 2 );
         at->intfsToMonitorIs( up, true );
         at->intfsToMonitorIs( down, true );
         at->intfsToDisableIs( *port++, true );
      }
      root->uplinkFailureDetectionSmIs( config, statusFactory( "status" ), cause, dir );
   }

   Zet::Ptr< Config > config;
   Zet::Ptr< Errdisable::CauseStatus > cause = Errdisable::CauseStatus::CauseStatusIs( "cause" );
   Zet::Ptr< Interface::EthIntfStatusDir > dir =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "dir" );
   Zet::Ptr< Root > root = rootFactory( "root" );
};

// Per member, at the large size as ours and at the small one as our own peer.
template < class Build, class Act >
void
sizes( std::string const& name, std::size_t small, std::size_t large, Build build, Act act ) {
   auto const add = [ & ]( char const* peer, std::size_t size ) {
      auto const measure = [ = ]( benchmark::State& state ) {
         for ( auto _ : state ) {
            auto subject = build( size );
            double const start = processorTime();
            act( subject );
            state.SetIterationTime( processorTime() - start );
         }
         Bench::each( state, size );
      };
      Bench::add( peer, name, measure )->UseManualTime();
   };
   add( "ours", large );
   add( "self", small );
}

} // namespace

void
Bench::benchmarks() {
   auto const detector = []( std::size_t groups ) { return Detector( groups ); };
   sizes( "destroy-groups", 1000, 10000, detector,
          []( Detector& it ) { it.root->uplinkFailureDetectionSmDel(); } );
   sizes( "remove-groups", 1000, 10000, detector,
          []( Detector& it ) { it.config->groupDelAll(); } );
   sizes( "delall-entities", 10000, 100000, configOf,
          []( Zet::Ptr< Config >& config ) { config->groupDelAll(); } );
   sizes( "destroy-entities", 10000, 100000, configOf,
          []( Zet::Ptr< Config >& config ) { config = nullptr; } );
   sizes( "delall-values", 10000, 100000, groupOf,
          []( Zet::Ptr< GroupConfig >& group ) { group->intfsToMonitorDelAll(); } );
   sizes( "destroy-values", 10000, 100000, groupOf,
          []( Zet::Ptr< GroupConfig >& group ) { group = nullptr; } );
}
