#include "agent/base/Descriptor.h"
#include "agent/base/SocketFile.h"
#include "agent/config/SystemView.h"
#include "agent/ports/PortClaims.h"
#include "tests/agent/DatagramInbox.h"
#include "tests/agent/ForkedProcess.h"
#include "tests/agent/NetworkTest.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace Ufdd {
namespace {

// The life of ufdd as systemd sees it: start, reload, stop, release.
struct LivingTest : NetworkTest {
   // Returns true if that signal was sent to the process, which has not handled it yet.
   static bool hasPending( Process const& process, int signal ) {
      std::ifstream status( "/proc/" + std::to_string( process.pid() ) + "/status" );
      for ( std::string word; word != "ShdPnd:" && status >> word; ) {
      }
      std::uint64_t pending = 0;
      status >> std::hex >> pending;
      return ( pending >> ( signal - 1 ) & 1 ) != 0;
   }
};

TEST_F( LivingTest, reloadAppliesOnlyTheDifference ) {
   plug( { "u1", "u2", "d1", "d2", "d3" } );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1'" ) + group( "b", "'u2'", "'d2'" ) ) );
   ip( "link set u1-far down" );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   std::uint32_t const before = transitions( "d1-far" ) + transitions( "d2-far" );

   reload( ufdd, group( "a", "'u1'", "'d1', 'u1'" ) );
   ASSERT_TRUE( ufdd.writes( "the former one stays in force" ) );
   EXPECT_TRUE(
       ufdd.wrote( config_->path() + ":5:19: \"u1\" is monitored and disabled by this group" ) );
   reload( ufdd, "startup_hold = 1\n" );
   ASSERT_TRUE( ufdd.writes( "to watch nothing, stop ufdd" ) );
   reload( ufdd, "startup_hold = 1\n" + group( "a", "'u1'", "'d1', 'd3'" ) +
                     group( "b", "'u2'", "'d2'" ) );
   ASSERT_TRUE( haveLink( { "d3-far" }, false ) ) << ufdd.output();
   EXPECT_TRUE( ufdd.writes( "added 0, changed 1, removed 0" ) ) << ufdd.output();
   EXPECT_TRUE(
       ufdd.wrote( "startup_hold has changed; the change takes effect at the next start" ) );
   ufdd.signal( SIGUSR2 );
   ASSERT_TRUE( eventually(
       [ & ] { return ufdd.wrote( "group a: down since 20" ) && ufdd.wrote( " d3 shut (" ); } ) )
       << ufdd.output();

   // ufdd stops for another one, but none follows. A release opens the ports.
   ufdd.signal( SIGUSR1 );
   EXPECT_EQ( ufdd.wait(), 0 );
   EXPECT_EQ( transitions( "d1-far" ) + transitions( "d2-far" ), before );
   EXPECT_FALSE( hasLink( "d1-far" ) );
   // Locks the record, as a ufdd does that is still ending.
   Descriptor former( open( ( state_.path() + "/lock" ).c_str(), O_RDWR | O_CLOEXEC ) );
   ASSERT_EQ( flock( former.fd(), LOCK_EX ), 0 );
   Process release( { "--release", "--state-dir", state_.path() } );
   std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) );
   former = Descriptor();
   EXPECT_EQ( release.wait(), 0 ) << release.output();
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, true ) ) << release.output();
}

// Two processes with records of their own would fight over a port.
TEST_F( LivingTest, portBelongsToOneProcess ) {
   plug( { "u1", "d1", "d2", "d3" } );
   ip( "link property add dev d1 altname first" );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1', 'd2'" ) ) );
   auto const second = [ & ]( std::string const& config ) {
      rewrite( config );
      return std::vector< std::string >{ "--config",    config_->path(),
                                         "--state-dir", state_.path() + "/other",
                                         "--socket",    state_.path() + "/other/status" };
   };
   std::string const holder = "another ufdd (process " + std::to_string( ufdd.pid() ) + ")";
   Process fighter( second( group( "b", "'u1'", "'d3', 'first'" ) ) );
   ASSERT_TRUE( eventually( [ & ] { return fighter.hasEnded(); } ) ) << fighter.output();
   EXPECT_EQ( fighter.wait(), 1 );
   EXPECT_TRUE( fighter.wrote( holder ) && fighter.wrote( ": d1\n" ) ) << fighter.output();
   // It may have other ports, and get this one once the first ufdd has given it up.
   ReadyUfdd neighbour( second( group( "b", "'u1'", "'d3'" ) ) );
   reload( neighbour, group( "b", "'u1'", "'d3', 'd1'" ) );
   EXPECT_TRUE( neighbour.writes( holder ) ) << neighbour.output();
   reload( ufdd, group( "a", "'u1'", "'d2'" ) );
   ASSERT_TRUE( ufdd.writes( "changed 1" ) ) << ufdd.output();
   reload( neighbour, group( "b", "'u1'", "'d3', 'd1'" ) );
   EXPECT_TRUE( neighbour.writes( "changed 1" ) );
   EXPECT_EQ( neighbour.end( SIGTERM ), 0 );
   // A user without rights can disturb, not keep ufdd from its ports.
   SocketPair ready;
   ForkedProcess const squatter( [ & ] {
      constexpr std::string_view name( "\0ufdd/port/d3", 13 );
      sockaddr_un address{ .sun_family = AF_UNIX, .sun_path = {} };
      name.copy( address.sun_path, name.size() );
      int const fd = socket( AF_UNIX, SOCK_STREAM, 0 );
      bool const isBound = setuid( 12345 ) == 0 &&
                           bind( fd, reinterpret_cast< sockaddr const* >( &address ),
                                 offsetof( sockaddr_un, sun_path ) + name.size() ) == 0 &&
                           listen( fd, 1 ) == 0;
      return isBound && write( ready.far.fd(), "!", 1 ) == 1 && pause() == 0;
   } );
   ready.far = Descriptor();
   char byte = 0;
   ASSERT_EQ( read( ready.near.fd(), &byte, 1 ), 1 );
   ReadyUfdd disturbed( second( group( "b", "'u1'", "'d3'" ) ) );
   EXPECT_TRUE( disturbed.wrote( "a process that is no ufdd" ) ) << disturbed.output();
}

// A LAG is shut by its members.
TEST_F( LivingTest, lagAndItsMembersBelongToOneProcess ) {
   auto const links = [] {
      auto const link = []( std::string_view name, std::uint32_t master, bool isLag ) {
         return Link{ .name = InterfaceName( name ), .master = master, .isLag = isLag };
      };
      return std::map< std::uint32_t, Link >{ { 1, link( "p1", 3, false ) },
                                              { 2, link( "p2", 3, false ) },
                                              { 3, link( "bond0", 0, true ) } };
   };
   StreamLog log( STDERR_FILENO, false );
   PortClaims first( log, links );
   PortClaims second( log, links );
   Kelnet::IntfId const lag( "bond0" ), one( "p1" ), two( "p2" );
   auto const add = []( PortClaims& claims, Kelnet::IntfId port ) {
      std::vector< std::string > const lines = claims.add( { &port, 1 } );
      return lines.empty() ? "" : lines[ 0 ].substr( lines[ 0 ].rfind( ':' ) );
   };
   EXPECT_EQ( add( first, lag ) + add( first, one ), "" );
   EXPECT_EQ( add( second, two ), ": bond0 (member p2)" );
   first.keepOnly( { &one, 1 } );
   EXPECT_EQ( add( second, two ), "" );
   EXPECT_EQ( add( second, lag ), ": bond0 (member p1)" );
}

// So many starts are refused that no further one could ask who holds the port.
TEST_F( LivingTest, everyStartIsToldWhoHoldsThePort ) {
   plug( { "u1", "d1" } );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1'" ) ) );
   StreamLog log( STDERR_FILENO, false );
   PortClaims asking( log );
   Kelnet::IntfId const port( "d1" );
   for ( int start = 0; start < SOMAXCONN + 100; ++start ) {
      std::vector< std::string > const lines = asking.add( { &port, 1 } );
      ASSERT_EQ( lines.size(), 1U ) << start;
      ASSERT_THAT( lines[ 0 ], HasSubstr( "(process " + std::to_string( ufdd.pid() ) + ")" ) )
          << start;
   }
   EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
}

TEST_F( LivingTest, lostRecordIsWrittenAgainAtRest ) {
   plug( { "u1", "d1" } );
   ip( "addr add fd09:1::1/64 dev d1 nodad" );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1'" ) ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   std::string const record = state_.path() + "/held";
   std::string const owed = state_.path() + "/settings";
   for ( std::string const& loss : { "rm " + record, "rm " + owed, "rm -r " + state_.path() + "/*",
                                     "mv " + state_.path() + " " + state_.path() + ".away" } ) {
      ASSERT_EQ( std::system( loss.c_str() ), 0 );
      auto const end = std::chrono::steady_clock::now() + std::chrono::seconds( 3 );
      EXPECT_TRUE( eventually( [ & ] {
         return std::system( ( "grep -qs ' d1$' " + record + " && grep -qs '^owed.* d1 ' " + owed )
                                 .c_str() ) == 0;
      } ) )
          << loss;
      EXPECT_LT( std::chrono::steady_clock::now(), end ) << loss;
   }
   std::filesystem::remove_all( state_.path() + ".away" );
   EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
}

TEST_F( LivingTest, releaseNamesThePortsThatAnUnreadableRecordMayMean ) {
   plug( { "d1", "d2", "d3" } );
   for ( char const* const name : { "d1", "d2" } )
      set( name, false );
   std::string const record = state_.path() + "/held";
   ASSERT_EQ( std::system( ( "printf 'ufdd-held 3\nboot %s\nnetns %s\nshut d2\nshut d3\n' $(cat "
                             "/proc/sys/kernel/random/boot_id) $(stat -Lc %i /proc/self/ns/net) >" +
                             record )
                               .c_str() ),
              0 );
   auto const release = [ & ] {
      Process process( { "--release", "--state-dir", state_.path() } );
      int const status = process.wait();
      EXPECT_EQ( process.count( "open it with: ip link set dev" ), status ) << process.output();
      EXPECT_EQ( process.wrote( "open it with: ip link set dev d2 up" ), status == 1 );
      return status;
   };
   EXPECT_EQ( release(), 1 );
   EXPECT_EQ( release(), 1 ) << "d2 is still shut";
   set( "d2", true );
   EXPECT_EQ( release(), 0 );
   // A fifo instead of the record stops nobody.
   ASSERT_EQ( mkfifo( record.c_str(), 0600 ), 0 );
   EXPECT_EQ( Process( { "--release", "--state-dir", state_.path() } ).wait(), 1 );
   EXPECT_TRUE( std::filesystem::is_fifo( record + ".unreadable-2" ) );
}

// The uplink has existed, and its group was up.
TEST_F( LivingTest, crashForgetsNeitherUplinksNorTheEndOfTheStartupHold ) {
   plug( { "uplink", "d1" } );
   std::vector< std::string > const all =
       arguments( "startup_hold = 3600\n" + group( "a", "'uplink'", "'d1'" ) );
   ReadyUfdd( all ).end( SIGKILL );
   ip( "link del uplink" );
   ReadyUfdd next( all );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) ) << next.output();
}

TEST_F( LivingTest, opensPortsWhenStoppedDuringItsStart ) {
   plug( { "u1", "d1" } );
   std::vector< std::string > const all = arguments( group( "a", "'u1'", "'d1'" ) );
   ReadyUfdd former( all );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << former.output();
   EXPECT_EQ( former.end( SIGUSR1 ), 0 );
   // A large configuration takes ufdd a while.
   rewrite( std::string( 1 << 19, '\n' ) + group( "a", "'u1'", "'d1'" ) );
   int const opened = inotify_init1( IN_CLOEXEC );
   inotify_add_watch( opened, config_->path().c_str(), IN_OPEN );
   Process ufdd( all );
   std::array< char, 256 > event{};
   EXPECT_GT( read( opened, event.data(), event.size() ), 0 );
   ufdd.signal( SIGTERM );
   close( opened );
   EXPECT_EQ( ufdd.wait(), 0 ) << ufdd.output();
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
}

TEST_F( LivingTest, logOfAClosedStandardErrorGoesToNoOtherFile ) {
   std::string command = "exec " + builtProgram( "ufdd" );
   for ( std::string const& argument : arguments( group( "a", "'u1'", "'d1'" ) ) )
      command += " '" + argument + "'";
   Process const ufdd( { "-c", command + " 0<&- 1>&- 2>&-" }, Process::Rights::all, "/bin/sh" );
   ASSERT_TRUE( eventually( [ & ] { return std::filesystem::exists( socketPath() ); } ) );
   EXPECT_EQ( std::filesystem::read_symlink( "/proc/" + std::to_string( ufdd.pid() ) + "/fd/2" ),
              "/dev/null" );
}

TEST_F( LivingTest, releaseKnowsOurPortsOnlyByTheConfiguredReason ) {
   if ( std::system( "ip link add x1 type vxlan dstport 0 id 1 2>/dev/null" ) != 0 )
      GTEST_SKIP() << "no interface that has protodown can be made here";
   ip( "link set x1 up" );
   auto const opens = [ & ]( std::string const& config ) {
      std::vector< std::string > all = arguments( config );
      if ( config.empty() )
         all.erase( all.begin(), all.begin() + 2 );
      all.push_back( "--release" );
      Process release( all );
      EXPECT_EQ( release.wait(), 0 ) << release.output();
      return hasLink( "x1" );
   };
   ip( "link set x1 protodown on protodown_reason 5 on" );
   EXPECT_FALSE( opens( "" ) || opens( "wrong" ) || opens( "protodown_reason = 9" ) );
   EXPECT_TRUE( opens( "protodown_reason = 5" ) );
}

TEST_F( LivingTest, reloadStormMovesNoUnchangedPort ) {
   plug( { "u1", "u2", "d1", "d2", "d3" } );
   std::string const both = group( "a", "'u1'", "'d1'" ) + group( "b", "'u2'", "'d2'" );
   ReadyUfdd ufdd( arguments( both ) );
   set( "u1-far", false );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   std::uint32_t const shut = transitions( "d1-far" );
   std::uint32_t const open = transitions( "d2-far" );
   for ( bool const isFlapping : { false, true } ) {
      for ( int i = 0; i < 50; ++i ) {
         // Two pending signals of a kind would be one.
         ASSERT_TRUE( eventually( [ & ] { return !hasPending( ufdd, SIGHUP ); } ) );
         reload( ufdd, both + ( i % 2 ? "" : "min_links = 0\n" + group( "c", "'u2'", "'d3'" ) ) );
         if ( isFlapping )
            set( "u1-far", i % 2 == 0 );
      }
      ASSERT_TRUE( eventually( [ & ] { return !hasPending( ufdd, SIGHUP ); } ) );
      reload( ufdd, both + group( "end", "'u1'", "'d3'" ) );
      EXPECT_TRUE( haveLink( { "d1-far", "d3-far" }, false ) ) << ufdd.output();
      EXPECT_EQ( transitions( "d2-far" ), open ) << ufdd.output();
      EXPECT_TRUE( isFlapping || transitions( "d1-far" ) == shut ) << ufdd.output();
   }
   EXPECT_TRUE( eventually( [ & ] { return ufdd.count( "configuration loaded" ) == 102; } ) )
       << ufdd.output();
}

TEST_F( LivingTest, reportsToTheServiceManager ) {
   plug( { "u1", "d1" } );
   DatagramInbox inbox;
   // Takes connections and answers nothing.
   SocketFile const bus( state_.path() + "/bus" );
   setenv( "NOTIFY_SOCKET", inbox.path().c_str(), 1 );
   setenv( "WATCHDOG_USEC", "100000", 1 );
   setenv( "DBUS_SYSTEM_BUS_ADDRESS", ( "unix:path=" + state_.path() + "/bus" ).c_str(), 1 );
   Process ufdd( arguments( group( "a", "'u1'", "'d1'" ) ) );
   unsetenv( "DBUS_SYSTEM_BUS_ADDRESS" );
   unsetenv( "NOTIFY_SOCKET" );
   unsetenv( "WATCHDOG_USEC" );
   EXPECT_TRUE( inbox.receives( "STATUS=1 group, 0 down; ports shut: 0" ) );
   EXPECT_TRUE( inbox.receives( "READY=1" ) );
   EXPECT_TRUE( inbox.receives( "WATCHDOG=1" ) );
   EXPECT_TRUE( inbox.receives( "WATCHDOG=1" ) );
   ip( "link set u1-far down" );
   EXPECT_TRUE( inbox.receives( "STATUS=1 group, 1 down; ports shut: 1" ) );
   // The service manager does not read for a while. ufdd does not wait for it, and reports later.
   std::this_thread::sleep_for( std::chrono::seconds( 1 ) );
   ip( "link set u1-far up" );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) );
   reload( ufdd, "wrong" );
   EXPECT_TRUE( ufdd.writes( "the former one stays in force" ) );
   EXPECT_TRUE( inbox.receives( "RELOADING=1" ) );
   EXPECT_TRUE( inbox.receives( "READY=1" ) );
   EXPECT_TRUE( inbox.receives( "has errors and was not loaded" ) );
   ip( "link set u1-far down" );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   ufdd.signal( SIGTERM );
   EXPECT_TRUE( inbox.receives( "STOPPING=1" ) );
   EXPECT_EQ( ufdd.wait(), 0 );
   EXPECT_TRUE( ufdd.wrote( "can't ask whether the host is shutting down: Connection timed out" ) );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) );
}

TEST_F( LivingTest, findsTheInterfacesBelowTheDefaultRoute ) {
   using Names = std::set< std::string >;
   plug( { "p1", "p2" } );
   ip( "link add link p1 name m1 type macvlan" );
   ip( "link add br0 type bridge" );
   ip( "link set p2 master br0" );
   for ( char const* const name : { "m1", "br0" } )
      ip( std::string( "link set " ) + name + " up" );
   EXPECT_EQ( readSystem().defaultRouteLinks( {} ), Names() );
   ip( "route add default dev m1" );
   EXPECT_EQ( readSystem().defaultRouteLinks( {} ), ( Names{ "m1", "p1" } ) );
   EXPECT_EQ( readSystem().runsOn, ( std::map< std::string, Names >{ { "m1", { "p1" } } } ) );
   ip( "addr add 10.9.9.1/24 dev br0" );
   plug( "p3" );
   ip( "link set p3 master br0" );
   ip( "route replace default via 10.9.9.2 dev br0" );
   EXPECT_EQ( readSystem().defaultRouteLinks( {} ), ( Names{ "br0", "p2", "p3" } ) );
   EXPECT_EQ( readSystem().defaultRouteLinks( { "p2" } ), ( Names{ "br0", "p2" } ) );
   EXPECT_EQ( readSystem().defaultRouteLinks( { "p2", "p3" } ), Names{ "br0" } );
   // A bridge is no LAG: its name does not stand for its members.
   ip( "link property add dev br0 altname a-bridge" );
   EXPECT_EQ( readSystem().interfacesOf( "a-bridge" ), Names{ "br0" } );
}

TEST_F( LivingTest, findsTheMembersOfALag ) {
   if ( std::system( "ip link add bond0 type bond 2>/dev/null" ) != 0 )
      GTEST_SKIP() << "this kernel has no bonds";
   plug( "p1" );
   ip( "link set p1 down" );
   ip( "link set p1 master bond0" );
   EXPECT_EQ( readSystem().interfacesOf( "bond0" ), ( std::set< std::string >{ "bond0", "p1" } ) );
}

} // namespace
} // namespace Ufdd
