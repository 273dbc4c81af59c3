#include "agent/kernel/NetlinkRouteSource.h"
#include "agent/kernel/RouteMessage.h"
#include "tests/agent/NetworkTest.h"
#include "tests/support/RandomSequences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace Ufdd {
namespace {

struct RouteSourceTest : NetworkTest, RouteListener {
   void handleLinkEvent( std::uint32_t, LinkEvent ) override {}
   void handleRoutesLost() override { ++losses; }

   // Returns a line for each route and static address, as the ip command would add them.
   static std::string linesOf( RouteTable const& table ) {
      std::vector< std::string > lines;
      auto const nameOf = []( std::uint32_t index ) { return std::to_string( index ); };
      for ( auto const& [ to, route ] : table.routes() )
         lines.push_back( commandText( { true, route.payload }, nameOf ) +
                          ( route.isStatic ? " static" : "" ) );
      for ( auto const& [ link, address ] : table.addresses() )
         lines.push_back( commandText( { false, address.payload }, nameOf ) +
                          ( address.isStatic ? " static" : "" ) );
      std::sort( lines.begin(), lines.end() );
      std::ostringstream text;
      for ( std::string const& line : lines )
         text << line << '\n';
      return text.str();
   }
   static void systemIs( std::string const& name, long value ) {
      std::ofstream( "/proc/sys/net/" + name ) << value;
   }
   std::string follow( NetlinkRouteSource& by ) {
      by.listenerIs( *this );
      by.follow( prefixes );
      return linesOf( by.table() );
   }

   std::vector< Prefix > prefixes{ *Prefix::read( "10.7.0.0/16" ), *Prefix::read( "fd70::/16" ) };
   EventLoop loop;
   NetlinkRouteSource source{ loop };
   int losses = 0;
};

// Whatever happens, the table is what a new source reads.
TEST_F( RouteSourceTest, followsWhatTheKernelDoes ) {
   plug( { "d1", "d2" } );
   follow( source );
   std::uint64_t const seed = Tests::environment( "UFD_SEED", std::random_device()() );
   std::mt19937_64 random( seed );
   auto const pick = [ & ]( std::vector< std::string > const& of ) {
      return of[ random() % of.size() ];
   };
   for ( int round = 0; round < 80; ++round ) {
      std::string const before = linesOf( source.table() );
      std::string script;
      systemIs( "ipv6/route/skip_notify_on_dev_down", random() % 2 );
      for ( int i = 0; i < 4; ++i ) {
         bool const isV6 = random() % 2;
         std::string const to = isV6 ? pick( { "default", "fd70::/16", "fd71::/16" } )
                                     : pick( { "default", "10.7.0.0/16", "10.8.0.0/16" } );
         auto const hop = [ & ] {
            bool const a = random() % 2;
            return "via " +
                   std::string( isV6 ? a ? "fd01::2" : "fd02::2"
                                : a  ? "10.0.1.2"
                                     : "10.0.2.2" ) +
                   " dev " + ( a ? "d1" : "d2" );
         };
         std::string const hops =
             pick( { hop(), hop(),
                     isV6 ? "nexthop via fd01::2 dev d1 nexthop via fd02::2 dev d2"
                          : "nexthop via 10.0.1.2 nexthop via 10.0.2.2" } );
         // The filter drops routes of other protocols, except those to the prefixes. The next hops
         // of one IPv6 route may be of several protocols, but the kernel tells of only one.
         std::string where = pick( { "", "", " metric 7", " table 77", " proto bgp" } );
         if ( to == "fd70::/16" || ( where == " proto bgp" && ( isV6 || to == "10.8.0.0/16" ) ) )
            where = to == "fd70::/16" ? " proto bgp" : "";
         switch ( random() % 8 ) {
         case 0:
            script += "link set " + pick( { "d1", "d2" } ) + " " + pick( { "up", "down" } );
            break;
         case 1:
         case 2:
            script += "addr " + pick( { "add", "add", "del" } ) + " " +
                      pick( { "10.0.1.1/24 dev d1", "10.0.2.1/24 dev d2", "fd01::1/64 dev d1 nodad",
                              "fd02::1/64 dev d2 nodad", "10.0.3.1/24 dev d1" } );
            break;
         case 3:
            script += "route del " + to + where;
            break;
         case 4:
            script += "route replace blackhole " + ( isV6 ? "10.7.0.0/16" : to ) + where;
            break;
         default:
            script += "route " + pick( { "add ", isV6 ? "append " : "add ", "replace " } ) + to +
                      " " + hops + where + ( isV6 || random() % 3 ? "" : " src 10.0.3.1" );
         }
         script += '\n';
      }
      TextFile const batch( script );
      static_cast< void >(
          std::system( ( "ip -force -batch " + batch.path() + " 2>/dev/null" ).c_str() ) );
      std::string expected;
      // The kernel tells of a new IPv6 address a moment later.
      bool const isSame = eventually( [ & ] {
         for ( int i = 0; i < 10; ++i )
            source.handleReadable();
         EventLoop otherLoop;
         NetlinkRouteSource other( otherLoop );
         expected = follow( other );
         return linesOf( source.table() ) == expected;
      } );
      ASSERT_TRUE( isSame ) << "UFD_SEED=" << seed << '\n'
                            << script << "before:\n"
                            << before << "now:\n"
                            << linesOf( source.table() ) << "expected:\n"
                            << expected;
   }
   EXPECT_EQ( losses, 0 );
}

// The kernel has little room for a filter.
TEST_F( RouteSourceTest, followsAsManyPrefixesAsAFileMayName ) {
   plug( { "d1" } );
   ip( "addr add fd01::1/64 dev d1 nodad" );
   for ( int const network : { 1, 2 } ) {
      prefixes.clear();
      for ( int i = 100; i < 200; ++i )
         prefixes.push_back( *Prefix::read( "fd70:" + std::to_string( network ) +
                                            "::" + std::to_string( i ) + "/128" ) );
      systemIs( "core/optmem_max", 20480 );
      follow( source );
      // No reading is under way that would find the route without a message.
      source.deliver();
      ip( "route add " + prefixes.back().text() + " via fd01::2 proto bgp" );
      EXPECT_TRUE( eventually( [ & ] {
         source.handleReadable();
         return source.table().routes().contains( prefixes.back() );
      } ) )
          << network;
   }
}

// What could not be followed once is followed when that is tried again.
TEST_F( RouteSourceTest, triesAgainAfterAFailure ) {
   if ( !std::ofstream( "/proc/sys/net/core/optmem_max" ) )
      GTEST_SKIP() << "this kernel has one limit for all network namespaces";
   systemIs( "core/optmem_max", 1 );
   EXPECT_THROW( follow( source ), std::system_error );
   systemIs( "core/optmem_max", 20480 );
   follow( source );
   plug( { "d1" } );
   ip( "addr add 10.0.1.1/24 dev d1" );
   ip( "route add default via 10.0.1.2" );
   source.deliver();
   EXPECT_TRUE( source.table().routes().contains( Prefix{} ) );
}

} // namespace
} // namespace Ufdd
