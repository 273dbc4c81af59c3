#include "tests/support/Allocations.h"
#include "tests/support/Scenario.h"

#include <gtest/gtest.h>

using namespace UplinkFailureDetection;

namespace Scenario {

namespace {

// The objects that a group is made of: bench/README.md.
template < class Object, std::size_t size >
constexpr bool takes = sizeof( Object ) == size || sizeof( void* ) != 8;
static_assert( takes< GroupConfig::ZetIntfsToMonitor, 24 > );
static_assert( takes< GroupConfig::ZetIntfsToDisable, 24 > );
static_assert( takes< UplinkFailureDetectionIntfSm, 40 > );
static_assert( takes< UplinkFailureDetectionIntfSm::ZetEthIntfStatus, 48 > );
static_assert( takes< Errdisable::CauseStatus::ZetIntfStatus, 32 > );
static_assert( takes< GroupConfig, 160 > );
static_assert( takes< GroupStatus, 96 > );
static_assert( takes< UplinkFailureDetectionGroupSm, 112 > );
static_assert( takes< UplinkFailureDetectionGroupSm::ZetGroupConfig, 56 > );
static_assert( takes< UplinkFailureDetectionGroupSm::ZetEthIntfStatusDir, 56 > );
static_assert( takes< UplinkFailureDetectionGroupSm::ZetCauseStatus, 48 > );

bool
hasChecker() {
   return Tests::allocationsOf( [] { ::operator delete( ::operator new( 1 ) ); } ) == 0 ||
          Tests::allocationsOf( [] { Zet::Name( "a name" ), Zet::Name( "a name" ); } ) != 0;
}

constexpr char const* checker = "a checker takes each object from the heap";
constexpr std::size_t groupCount = 1000;

Kelnet::IntfId
uplink( std::size_t number ) {
   return Kelnet::IntfId( "uplink" + std::to_string( number ) );
}

// Groups that share eight uplinks, which must all be up, and have eight ports each.
void
start( World& world ) {
   for ( std::size_t number = 0; number < groupCount; ++number ) {
      auto const group = world.config->groupIs( "group" + std::to_string( number ) );
      group->minLinksIs( 8 );
      for ( std::size_t i = 0; i < 8; ++i ) {
         world.dir->intfStatusIs( uplink( i ) )->operStatusIs( Interface::OperStatus::up );
         group->intfsToMonitorIs( uplink( i ), true );
         group->intfsToDisableIs( Kelnet::IntfId( "port" + std::to_string( number * 8 + i ) ),
                                  true );
      }
   }
   world.apply( "start" );
}

TEST( Footprint, OfAGroupWithEightUplinksAndPorts ) {
   std::size_t const before = Tests::allocatedBytes;
   if ( hasChecker() )
      GTEST_SKIP() << checker;
   World world;
   start( world );
   EXPECT_LE( ( Tests::allocatedBytes - before ) / groupCount, 2200u );
}

// Else most of the time of a fall would be spent on moving the entries to larger tables.
TEST( Footprint, OfCauseEntriesThatComeBack ) {
   if ( hasChecker() )
      GTEST_SKIP() << checker;
   World world;
   start( world );
   auto const status = world.dir->intfStatus( uplink( 0 ) );
   auto const fall = [ & ] { status->operStatusIs( Interface::OperStatus::down ); };
   EXPECT_GT( Tests::allocationsOf( fall ), 5u );
   status->operStatusIs( Interface::OperStatus::up );
   EXPECT_FALSE( world.cause->hasIntfStatus() );
   // No table. A slab at most, if other objects of their size took the room of the entries.
   EXPECT_LE( Tests::allocationsOf( fall ), 1u );
   EXPECT_TRUE( world.cause->hasIntfStatus() );
}

} // namespace

} // namespace Scenario
