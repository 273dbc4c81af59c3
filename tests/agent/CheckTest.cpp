#include "agent/Forecast.h"
#include "agent/kernel/PrivateFlags.h"
#include "tests/agent/BootStoreInMemory.h"
#include "tests/agent/NetworkTest.h"
#include "tests/agent/OrdersInMemory.h"
#include "tests/agent/SimulatedKernel.h"
#include "tests/agent/SimulatedRoutes.h"
#include "tests/agent/StoreInMemory.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>
#include <linux/ethtool.h>

#include <string>
#include <vector>

namespace Ufdd {
namespace {

using Lines = std::vector< std::string >;

TEST( Forecast, tellsTheFateOfEachPort ) {
   SimulatedKernel kernel;
   SimulatedRoutes routes;
   for ( char const* const name :
         { "u1", "u2", "u3", "d1", "d2", "d3", "p1", "p2", "bond0", "old" } )
      kernel.add( name );
   kernel.link( "bond0" ).isLag = true;
   kernel.join( "p1", "bond0" );
   kernel.join( "p2", "bond0" );
   kernel.carrier( "u2", false );
   kernel.set( "u3", false );
   kernel.set( "d2", false );
   kernel.set( "p2", false );
   kernel.set( "old", false );
   StoreInMemory record;
   for ( char const* const name : { "p2", "old" } )
      record.links.push_back( { .index = kernel.index( name ),
                                .name = InterfaceName( name ),
                                .address = kernel.link( name ).address } );
   BootStoreInMemory boots;
   boots.record = { 0, { "u4" }, {}, {} };
   ConfigFile config;
   config.groups = { { "a", { "u2", "u3", "u4" }, { "d1", "d2", "d4" } },
                     { "b", { "u1" }, { "d3", "bond0" } },
                     { "c", { "u2" }, { "d3" } } };
   config.startupHold = 60;
   config.groups[ 0 ].policy.downDelay = 1;
   config.groups[ 1 ].policy.recoveryDelay = 2;
   config.groups[ 2 ].policy.dryRun = true;
   auto const recorded = record.links;
   std::string const down =
       "group a is down, 0/3 up, min_links 1: u2 no carrier, u3 administratively "
       "down, u4 absent; after its down_delay";
   EXPECT_EQ(
       forecast( config, kernel, routes, &record, &boots, nullptr ).ports,
       ( Lines{ "port d1 would be shut: " + down, "port d2 stays administratively down: " + down,
                "port d4 is absent: " + down,
                "port bond0, by its members: p1 stays open, p2 would be opened: group b is up, "
                "1/1 up, min_links 1; after its recovery_delay",
                "port d3 stays open: group c is down, 0/1 up, min_links 1, dry_run: u2 no carrier",
                "port old would be opened: no group disables it" } ) );
   OrdersInMemory orders;
   orders.book.ports[ "d3" ] = {};
   EXPECT_EQ( forecast( config, kernel, routes, &record, &boots, &orders ).ports[ 4 ],
              "port d3 would be shut: it is ordered down; group c is down, 0/1 up, min_links 1, "
              "dry_run: u2 no carrier" );
   EXPECT_EQ( kernel.acts, "" );
   EXPECT_EQ( record.links, recorded );
   config.groups[ 1 ].policy.releaseWhen = { RouteCondition() };
   EXPECT_EQ( forecast( config, kernel, routes, &record, &boots, nullptr ).ports[ 3 ],
              "port bond0, by its members: p1 stays open, p2 stays shut: group b is up, 1/1 up, "
              "min_links 1; after its recovery_delay; opened once all of these routes exist, or "
              "after its release_timeout: default-route" );
   // No interface was ever called u4.
   EXPECT_EQ( forecast( config, kernel, routes, &record, nullptr, nullptr ).ports[ 0 ],
              "port d1 stays open: group a is down, 0/3 up, min_links 1: u2 no carrier, u3 "
              "administratively down, u4 unproven, left alone" );
}

using CheckTest = NetworkTest;

TEST_F( CheckTest, changesNothingBesideARunningUfdd ) {
   plug( { "u1", "d1", "d2" } );
   auto const way = arguments( group( "a", "'u1'", "'d1'" ) );
   ReadyUfdd ufdd( way );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) );
   std::string const record = contentOf( state_.path() + "/held" );
   EXPECT_THAT( record, HasSubstr( "d1" ) );

   TextFile const next( group( "b", "'u1'", "'d2'" ) + group( "c", "'u1-fr'", "'d3'" ) );
   auto const check = [ & ]( Lines arguments, int status ) {
      arguments.insert( arguments.begin(),
                        { "--check", next.path(), "--state-dir", state_.path() } );
      Process process( arguments );
      EXPECT_EQ( process.wait(), status );
      return process.output();
   };
   std::string const output = check( {}, 0 );
   EXPECT_THAT( output, HasSubstr( "port d1 would be opened: no group disables it\n" ) );
   EXPECT_THAT( output,
                HasSubstr( "port d2 would be shut: group b is down, 0/1 up, min_links 1: u1 no "
                           "carrier\n" ) );
   EXPECT_EQ( output.find( "lock" ), std::string::npos );
   // "u1-fr" is nearly "u1-far".
   check( { "--strict" }, 78 );
   EXPECT_FALSE( hasLink( "d1-far" ) );
   EXPECT_TRUE( hasLink( "d2-far" ) );
   EXPECT_EQ( contentOf( state_.path() + "/held" ), record );
   EXPECT_FALSE( ufdd.hasEnded() );
}

TEST_F( CheckTest, findsDriversThatKeepALinkLit ) {
   std::string const name = "link-down-on-close";
   std::vector< char > names( 3 * ETH_GSTRING_LEN, 'x' );
   std::copy( name.c_str(), name.c_str() + name.size() + 1, names.begin() + ETH_GSTRING_LEN );
   auto const flags = privateFlagsOf( names, 5 );
   std::string const full( ETH_GSTRING_LEN, 'x' );
   EXPECT_EQ( flags,
              ( std::vector< PrivateFlag >{ { full, true }, { name, false }, { full, true } } ) );
   EXPECT_TRUE( staysLit( flags ) );
   EXPECT_FALSE( staysLit( privateFlagsOf( names, 2 ) ) );
   EXPECT_FALSE( staysLit( std::vector< PrivateFlag >{ { full, false } } ) );
   EXPECT_FALSE(
       staysLit( std::vector< PrivateFlag >{ { name, false }, { "total-port-shutdown", true } } ) );
   plug( "u1" );
   EXPECT_EQ( readPrivateFlags( InterfaceName( "u1" ) ), std::vector< PrivateFlag >() );
   EXPECT_EQ( readPrivateFlags( InterfaceName( "none" ) ), std::vector< PrivateFlag >() );
}

} // namespace
} // namespace Ufdd
