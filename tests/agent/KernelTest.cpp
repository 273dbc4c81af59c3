#include "tests/agent/NetworkTest.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Ufdd {
namespace {

using KernelTest = NetworkTest;

TEST_F( KernelTest, portsAreShutAndOpened ) {
   plug( { "u1", "u2", "d1", "d2" } );
   ReadyUfdd ufdd( arguments( group( "rack", "'u1', 'u2'", "'d1', 'd2'" ) ) );

   ip( "link set u1-far down" );
   ip( "link set u2-far down" );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) ) << ufdd.output();
   ip( "link set u1-far up" );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, true ) ) << ufdd.output();

   ip( "link del u1" );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) ) << ufdd.output();
   // Until then ufdd would take an opened port for one that can't be shut.
   ASSERT_TRUE( eventually( [ & ] { return ufdd.count( "port d1 shut: " ) == 2; } ) );
   for ( std::size_t fights = 1; fights <= 3; ++fights ) {
      set( "d1", true );
      ASSERT_TRUE( eventually( [ & ] { return ufdd.count( "port d1 shut again" ) == fights; } ) )
          << ufdd.output();
      ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   }
   set( "d1", true );
   ASSERT_TRUE( ufdd.writes( "port d1 overridden" ) );
   EXPECT_TRUE( hasLink( "d1-far" ) && !hasLink( "d2-far" ) ) << ufdd.output();
   ip( "link set u2-far up" );
   ASSERT_TRUE( haveLink( { "d2-far" }, true ) ) << ufdd.output();
   ip( "link set u2-far down" );
   ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) ) << ufdd.output();

   EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far" }, true ) ) << ufdd.output();
}

// The orders go out in several messages. A half of the states before is known.
TEST_F( KernelTest, manyPortsAreShutBeforeAnyIsQueried ) {
   constexpr std::size_t absent = 3;
   std::vector< LinkRequest > requests( 40 );
   for ( std::size_t i = 0; i < requests.size(); ++i ) {
      std::string const name = "d" + std::to_string( i );
      plug( name );
      requests[ i ].index = if_nametoindex( name.c_str() );
      if ( i % 2 == 0 )
         requests[ i ].before = { .index = requests[ i ].index, .name = InterfaceName( name ) };
   }
   requests[ absent ].index = 1 << 20;
   bool wereShutFirst = false;
   LinkProbe const probe;
   NetlinkLinkControl( [ & ] {
      wereShutFirst |=
          requests[ 0 ].after.index == 0 && probe.isAdminUp( InterfaceName( "d39" ) ) == false;
   } ).apply( requests );
   EXPECT_TRUE( wereShutFirst );
   for ( std::size_t i = 0; i < requests.size(); ++i ) {
      LinkRequest const& request = requests[ i ];
      EXPECT_EQ( request.error, i == absent ? ENODEV : 0 ) << i;
      EXPECT_EQ( request.before.adminUp, i != absent ) << i;
      EXPECT_FALSE( request.after.adminUp ) << i;
      EXPECT_EQ( request.after.index, i == absent ? 0 : request.index ) << i;
   }
}

// The last state of the links counts, whether old messages wait or were lost.
TEST_F( KernelTest, manyMessagesWhileStopped ) {
   plug( { "u1", "u2", "d1" } );
   auto way = arguments( group( "rack", "'u1', 'u2'", "'d1'" ) + "min_links = 2\n" );
   way.push_back( "--receive-buffer" );
   for ( char const* const bytes : { "4096", "8388608" } ) {
      way.push_back( bytes );
      ReadyUfdd ufdd( way );
      way.pop_back();
      std::uint32_t expected = transitions( "d1-far" );
      bool isUp = true;
      for ( bool const end : { true, false, false, true } ) {
         ufdd.stop();
         for ( int i = 0; i < 400; ++i )
            set( i % 2 ? "u1-far" : "u2-far", i / 2 % 2 == 1 );
         set( "u1-far", end );
         // An old message may be the last one until then, and ufdd would be right to act on it.
         EXPECT_TRUE( isWorkedOff( "u1", end ) && isWorkedOff( "u2", true ) );
         ufdd.signal( SIGCONT );
         expected += std::exchange( isUp, end ) != end;
         EXPECT_TRUE( haveLink( { "d1-far" }, end ) ) << ufdd.output();
         std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
         EXPECT_EQ( transitions( "d1-far" ), expected ) << ufdd.output();
      }
      EXPECT_EQ( ufdd.wrote( "messages about links were lost" ), bytes == std::string( "4096" ) );
      // While ufdd runs, parts of the dump that it requests may be lost as well.
      for ( bool const end : { true, false, true } ) {
         std::thread other( [] {
            for ( int i = 0; i < 1000; ++i )
               set( "u2-far", i % 2 == 1 );
         } );
         for ( int i = 0; i < 1000; ++i )
            set( "u1-far", i % 2 == end );
         other.join();
         EXPECT_TRUE( haveLink( { "d1-far" }, end ) ) << ufdd.output();
      }
   }
}

// The configuration means the interface that has the name at present.
TEST_F( KernelTest, namesComeAndGo ) {
   plug( { "u1", "eth7", "d1", "d2" } );
   std::string const longName = "downstream-port-number-one";
   ip( "link property add dev d1 altname " + longName );
   ReadyUfdd ufdd( arguments( group( "rack", "'u1'", "'" + longName + "', 'd2'" ) ) );
   auto const portsHaveLink = [ & ]( bool link ) {
      return haveLink( { "d1-far", "d2-far" }, link );
   };
   ip( "link set u1 netns " + otherNamespace() );
   EXPECT_TRUE( portsHaveLink( false ) ) << ufdd.output();
   ip( "link property add dev eth7 altname u1" );
   EXPECT_TRUE( portsHaveLink( true ) ) << ufdd.output();
   ip( "link property del dev eth7 altname u1" );
   EXPECT_TRUE( portsHaveLink( false ) ) << ufdd.output();
   // The name of a shut port goes to another interface. The former port is opened. The kernel sends
   // a message only about the latter change.
   plug( "d3" );
   ip( "link property del dev d1 altname " + longName );
   ip( "link property add dev d3 altname " + longName );
   EXPECT_TRUE( haveLink( { "d3-far" }, false ) ) << ufdd.output();
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
   // d2 is replaced by another interface of the same name and index, which is not ours to open. d3
   // goes to another namespace and is left alone.
   std::string const index = std::to_string( if_nametoindex( "d2" ) );
   ip( "link del d2" );
   ip( "link add d2 index " + index + " type veth peer name d2-far" );
   ip( "link set d2-far up" );
   ip( "link set d3 netns " + otherNamespace() );
   ASSERT_EQ( std::system( renaming( "eth7", "u1" ).c_str() ), 0 );
   EXPECT_TRUE( ufdd.writes( "down -> up, 1/1 up, min_links 1: uplink u1 is up" ) );
   EXPECT_FALSE( hasLink( "d2-far" ) ) << "not shut by us";
   EXPECT_TRUE( ufdd.wrote( "port d3 was moved to another network namespace while ufdd had it "
                            "shut: open it there with: ip link set dev d3 up" ) );
   EXPECT_FALSE( ufdd.wrote( "port d2 was moved" ) );
   ip( "link set d2 up" );
   ip( "link set u1 down" );
   EXPECT_TRUE( haveLink( { "d2-far" }, false ) ) << ufdd.output();
   EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
   EXPECT_TRUE( haveLink( { "d2-far" }, true ) ) << ufdd.output();
}

// An uplink that is removed counts as down. A port that comes while its group is down is shut.
TEST_F( KernelTest, interfacesGoAndComeBack ) {
   plug( { "u1", "d1" } );
   ReadyUfdd ufdd( arguments( group( "rack", "'u1'", "'d1'" ) ) );
   for ( std::string const name : { "u1", "d1" } ) {
      std::string const index = std::to_string( if_nametoindex( name.c_str() ) );
      std::string const del = "ip link del " + name;
      std::string const peer =
          " type veth peer name " + name + "-far && ip link set " + name + "-far up";
      for ( auto const& [ go, come ] : std::vector< std::pair< std::string, std::string > >{
                { del, "ip link add " + name + peer },
                { del, "ip link add " + name + " index " + index + peer },
                { renaming( name, "x" ), renaming( "x", name ) },
                { "ip link set " + name + " netns " + otherNamespace(), fetch( name ) } } ) {
         bool const isUplink = name == "u1";
         set( "u1-far", isUplink );
         ASSERT_TRUE( haveLink( { "d1-far" }, isUplink ) ) << go << ufdd.output();
         ASSERT_EQ( std::system( go.c_str() ), 0 ) << go;
         EXPECT_TRUE( !isUplink || haveLink( { "d1-far" }, false ) ) << go << ufdd.output();
         ASSERT_EQ( std::system( come.c_str() ), 0 ) << come;
         set( name, true );
         EXPECT_TRUE( haveLink( { "d1-far" }, isUplink ) ) << come << ufdd.output();
         set( "u1-far", true );
         EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << come << ufdd.output();
      }
   }
}

TEST_F( KernelTest, protoDownIsSharedWithOthers ) {
   plug( "u1" );
   for ( std::string const name : { "x1", "x2" } )
      if ( std::system( ( "ip link add " + name + " type vxlan dstport 0 id " + name.substr( 1 ) +
                          " 2>/dev/null && ip link set " + name + " up" )
                            .c_str() ) != 0 )
         GTEST_SKIP() << "no interface that has protodown can be made here";
   std::string const groups = group( "rack", "'u1'", "'x1', 'x2'" );
   {
      ReadyUfdd ufdd( arguments( groups ) );
      reload( ufdd, "protodown_reason = 9\n" + groups );
      ASSERT_TRUE( ufdd.writes( "configuration loaded" ) );
      ip( "link set u1-far down" );
      ASSERT_TRUE( haveLink( { "x1", "x2" }, false ) ) << ufdd.output();
      ip( "link set x1 protodown_reason 7 on" );
      // Somebody else opens the port.
      ip( "link set x2 protodown off protodown_reason 9 off" );
      EXPECT_TRUE( ufdd.writes( "port x2 shut again" ) );
      ASSERT_TRUE( haveLink( { "x2" }, false ) ) << ufdd.output();
      EXPECT_NE( std::system( "ip link set x2 protodown off 2>/dev/null" ), 0 );
      ufdd.end( SIGKILL );
   }
   // The record says by which reason the ports were shut; the next ufdd has another one.
   ReadyUfdd ufdd( arguments( groups ) );
   ip( "link set u1-far up" );
   ASSERT_TRUE( haveLink( { "x2" }, true ) ) << ufdd.output();
   EXPECT_FALSE( hasLink( "x1" ) );
   EXPECT_TRUE(
       ufdd.writes( "port x1 opened, but others keep it in protodown, for the reasons 7:" ) )
       << ufdd.output();
   ip( "link set x1 protodown off protodown_reason 7 off" );
   EXPECT_TRUE( hasLink( "x1" ) ) << "only our own bit was cleared";

   // A shut port is in another namespace when its group comes up.
   ip( "link set u1-far down" );
   ASSERT_TRUE( haveLink( { "x1", "x2" }, false ) ) << ufdd.output();
   ip( "link set x2 netns " + otherNamespace() );
   ip( "link set u1-far up" );
   ASSERT_TRUE( haveLink( { "x1" }, true ) ) << ufdd.output();
   ASSERT_EQ( std::system( fetch( "x2" ).c_str() ), 0 );
   ip( "link set x2 up" );
   EXPECT_TRUE( haveLink( { "x2" }, true ) ) << ufdd.output();
}

} // namespace
} // namespace Ufdd
