#include "tests/agent/NetworkTest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace Ufdd {
namespace {

// What ufdd does about routes and addresses, on the real kernel.
struct RouteTest : NetworkTest {
   // Returns the ticks of processor time that the process has used.
   static long timeOf( Process const& process ) {
      std::ifstream stat( "/proc/" + std::to_string( process.pid() ) + "/stat" );
      std::string word;
      for ( int i = 0; i < 13; ++i )
         stat >> word;
      long user = 0;
      long system = 0;
      stat >> user >> system;
      return user + system;
   }
};

// A bridge carries the default route by all of its ports, unless one of them is an uplink.
TEST_F( RouteTest, portOfTheDefaultRouteIsLeftOpen ) {
   plug( { "u1", "u2", "d1", "d2", "d3" } );
   for ( std::string const name : { "br1", "br2" } )
      ip( "link add " + name + " up type bridge" );
   for ( std::string const place : { "u1 master br1", "d1 master br1", "d2 master br2" } )
      ip( "link set " + place );
   ip( "addr add 10.9.2.1/24 dev br2" );
   ip( "route add default via 10.9.2.2 dev br2" );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1', 'd2', 'd3'" ) ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far", "d3-far" }, false ) ) << ufdd.output();
   EXPECT_TRUE( eventually( [ & ] { return ufdd.wrote( "port d2 not shut: it carries" ); } ) )
       << ufdd.output();
   EXPECT_TRUE( hasLink( "d2-far" ) );
   ip( "addr add 10.9.1.1/24 dev br1" );
   ip( "route replace default via 10.9.1.2 dev br1" );
   ASSERT_TRUE( haveLink( { "d2-far" }, false ) ) << ufdd.output();
   set( "u1-far", true );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, true ) ) << ufdd.output();
   // Its default route leads over the uplink.
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, false ) ) << ufdd.output();
}

TEST_F( RouteTest, routesOfARoutingProtocolCostNothing ) {
   plug( { "u1", "d1" } );
   ip( "addr add 10.9.0.1/24 dev u1" );
   std::string batch;
   for ( int i = 0; i < 100000; ++i )
      batch += "route add 11." + std::to_string( i >> 16 ) + '.' + std::to_string( i >> 8 & 255 ) +
               '.' + std::to_string( i & 255 ) + " via 10.9.0.2 proto bgp\n";
   TextFile const file( batch );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1'" ) ) );
   long const before = timeOf( ufdd );
   ip( "-batch " + file.path() );
   EXPECT_LE( timeOf( ufdd ) - before, 2 ) << "in ticks of 10 ms";
   // A ufdd that starts reads them, and reacts meanwhile.
   ufdd.signal( SIGKILL );
   ufdd.wait();
   ip( "route add default via 10.9.0.2 metric 9" );
   ReadyUfdd next( arguments( group( "a", "'u1'", "'d1'" ) ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << next.output();
   RecordProperty( "ticksOfTheStart", static_cast< int >( timeOf( next ) ) );
}

} // namespace
} // namespace Ufdd
