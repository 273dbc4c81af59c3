#include "tests/sm/Scenario.h"
#include "tests/support/Allocations.h"

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

TEST( Footprint, OfAGroupWithEightUplinksAndPorts ) {
   std::size_t const before = Tests::allocatedBytes;
   if ( Tests::allocationsOf( [] { ::operator delete( ::operator new( 1 ) ); } ) == 0 ||
        Tests::allocationsOf( [] { Zet::Name( "a name" ), Zet::Name( "a name" ); } ) != 0 )
      GTEST_SKIP() << "a checker takes each object from the heap";
   constexpr std::size_t groups = 1000;
   World world;
   for ( std::size_t number = 0; number < groups; ++number ) {
      auto const group = world.config->groupIs( "group" + std::to_string( number ) );
      for ( std::size_t i = 0; i < 8; ++i ) {
         Kelnet::IntfId const uplink( "uplink" + std::to_string( i ) );
         world.dir->intfStatusIs( uplink )->operStatusIs( Interface::OperStatus::up );
         group->intfsToMonitorIs( uplink, true );
         group->intfsToDisableIs( Kelnet::IntfId( "port" + std::to_string( number * 8 + i ) ),
                                  true );
      }
   }
   world.apply( "start" );
   EXPECT_LE( ( Tests::allocatedBytes - before ) / groups, 2300u );
}

} // namespace

} // namespace Scenario
