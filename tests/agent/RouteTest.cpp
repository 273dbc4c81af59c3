#include "tests/agent/NetworkTest.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string>

namespace Ufdd {
namespace {

// What ufdd does about routes and addresses, on the real kernel.
struct RouteTest : NetworkTest {
   // Returns what the command writes.
   static std::string textOf( std::string const& command ) {
      Process process( { "-c", command }, Process::Rights::all, "/bin/sh" );
      process.wait();
      return process.output();
   }
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
   EXPECT_TRUE( ufdd.writes( "port d2 not shut: it carries" ) ) << ufdd.output();
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

// A port that is set down loses what the kernel does not bring back; ufdd does, however it ends.
TEST_F( RouteTest, portsGetBackWhatTheyLost ) {
   ip( "link set lo up" );
   plug( { "u1", "d1", "d2" } );
   ip( "addr add 10.9.1.1/24 dev d1" );
   ip( "addr add 10.9.2.1/24 dev d2" );
   ip( "addr add fd09:1::1/64 dev d1 nodad" );
   ip( "addr add fd09:2::1/64 dev d1" );
   ip( "addr add fd09:3::1/64 dev d1 nodad valid_lft 900 preferred_lft 900" );
   for ( char const* const route :
         { "11.1.0.0/16 via 10.9.1.2 metric 7", "11.2.0.0/16 via 10.9.1.2 proto bgp",
           "11.3.0.0/16 nexthop via 10.9.1.2 weight 3 nexthop via 10.9.2.2",
           "11.5.0.1 dev d1 table 7", "11.6.0.0/16 via 10.9.1.2",
           "fd12::/16 via fe80::2 dev d1 mtu 1400" } )
      ip( std::string( "route add " ) + route );
   // Until nobody else has answered for it, the kernel takes no address as a source.
   ASSERT_TRUE( eventually( [] {
      return std::system( "ip route add fd11::/16 via fd09:1::2 src fd09:2::1 2>/dev/null" ) == 0;
   } ) );
   auto const all = arguments( group( "a", "'u1'", "'d1', 'd2'" ) );
   std::string const expected =
       "11.1.0.0/16 via 10.9.1.2 dev d1 metric 7 ;11.3.0.0/16 ;"
       "nexthop via 10.9.1.2 dev d1 weight 3 ;nexthop via 10.9.2.2 dev d2 weight 1 ;"
       "11.6.0.0/16 dev lo scope link ;11.5.0.1 dev d1 scope link ;"
       "fd11::/16 via fd09:1::2 dev d1 src fd09:2::1 metric 1024 pref medium;"
       "fd12::/16 via fe80::2 dev d1 metric 1024 mtu 1400 pref medium;";
   auto const now = [] {
      return textOf( "{ ip route show proto boot; ip route show table 7; "
                     "ip -6 route show proto boot; } | tr -d '\\t' | tr '\\n' ';'" );
   };
   auto const v6 = [] {
      return textOf( "ip -6 addr show dev d1 scope global | grep -o 'fd09:.*/' | sort" );
   };
   enum class End { opened, killed, killedAndReleased, stopped, left };
   for ( End const end :
         { End::opened, End::killed, End::killedAndReleased, End::stopped, End::left } ) {
      SCOPED_TRACE( static_cast< int >( end ) );
      std::optional< ReadyUfdd > ufdd( std::in_place, all );
      // The record has come to rest.
      ASSERT_TRUE( eventually( [ & ] {
         return textOf( "grep -c present " + state_.path() + "/settings 2>/dev/null" ) > "0\n";
      } ) );
      std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) );
      set( "u1-far", false );
      ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) ) << ufdd->output();
      EXPECT_TRUE( eventually( [ & ] { return now().find( "11.1" ) == std::string::npos; } ) );
      EXPECT_EQ( v6(), "" );
      if ( end == End::opened ) {
         // Somebody else has another way now, which stays.
         ip( "route add 11.6.0.0/16 dev lo" );
      }
      if ( end == End::killed || end == End::killedAndReleased || end == End::left ) {
         ufdd->end( end == End::left ? SIGUSR1 : SIGKILL );
         if ( end == End::killedAndReleased ) {
            Process release( { "--release", "--state-dir", state_.path() } );
            EXPECT_EQ( release.wait(), 0 ) << release.output();
         } else {
            ufdd.emplace( all );
         }
      }
      set( "u1-far", true );
      EXPECT_TRUE( end != End::stopped || ufdd->end( SIGTERM ) == 0 ) << ufdd->output();
      EXPECT_TRUE( haveLink( { "d1-far", "d2-far" }, true ) ) << ufdd->output();
      EXPECT_TRUE( eventually( [ & ] { return now() == expected; } ) ) << now() << '\n'
                                                                       << ufdd->output();
      EXPECT_EQ( v6(), "fd09:1::1/\nfd09:2::1/\n" );
   }
}

TEST_F( RouteTest, portsAreOpenedWhenTheRouteIsBack ) {
   plug( { "u1", "d1" } );
   ip( "addr add 10.9.0.1/24 dev u1" );
   std::string const base = group( "a", "'u1'", "'d1'" );
   ReadyUfdd ufdd( arguments( base + "release_when = [ '10.7.0.0/16', 'fd70::/16' ]\n" ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   set( "u1-far", true );
   ASSERT_TRUE( ufdd.writes( "10.7.0.0/16, fd70::/16" ) );
   ip( "route add 10.7.0.0/16 via 10.9.0.2 proto bgp" );
   ip( "route add fd70::/17 via fe80::1 dev u1 proto bgp" );
   std::this_thread::sleep_for( std::chrono::milliseconds( 100 ) );
   EXPECT_FALSE( hasLink( "d1-far" ) );
   ip( "route add fd70::/16 via fe80::1 dev u1 proto bgp" );
   ASSERT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
   // Another prefix is awaited from now on.
   reload( ufdd, base + "release_when = [ '10.8.0.0/16' ]\n" );
   ASSERT_TRUE( ufdd.writes( "configuration loaded" ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   set( "u1-far", true );
   ASSERT_TRUE( ufdd.writes( "exist, or in 60 s: 10.8.0.0/16" ) ) << ufdd.output();
   EXPECT_FALSE( hasLink( "d1-far" ) );
   ip( "route add 10.8.0.0/16 via 10.9.0.2 proto bgp" );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
}

TEST_F( RouteTest, routesOfARoutingProtocolCostNothing ) {
   plug( { "u1", "d1" } );
   ip( "addr add 10.9.0.1/24 dev u1" );
   std::string batch;
   for ( int i = 0; i < 100000; ++i )
      batch += "route add 11." + std::to_string( i >> 16 ) + '.' + std::to_string( i >> 8 & 255 ) +
               '.' + std::to_string( i & 255 ) + " via 10.9.0.2 proto bgp\n";
   TextFile const file( batch );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1'" ) +
                              "release_when = [ '11.0.0.0/16', 'fd70::/16' ]\n" ) );
   long const before = timeOf( ufdd );
   ip( "-batch " + file.path() );
   // Queries of the uplink in between take some of it. To read the routes takes far more.
   EXPECT_LE( timeOf( ufdd ) - before, 10 ) << "in ticks of 10 ms";
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
