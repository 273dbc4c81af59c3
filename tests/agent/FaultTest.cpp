#include "tests/agent/NetworkTest.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <string>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

namespace Ufdd {
namespace {

constexpr char const* strace = "/usr/bin/strace";

// Faults of the system at the worst moment.
class FaultTest : public NetworkTest {
 protected:
   void SetUp() override {
      NetworkTest::SetUp();
      if ( !IsSkipped() && access( strace, X_OK ) != 0 )
         GTEST_SKIP() << "there is no strace";
   }
   void TearDown() override { umount2( state_.path().c_str(), MNT_DETACH ); }
   // Returns the valid lines of the record.
   std::string recorded() const {
      static std::regex const struckOut( "#.*\n" );
      return std::regex_replace( contentOf( state_.path() + "/held" ), struckOut, "" );
   }
};

// Injects faults into the system calls of a process while this exists.
class Injection {
 public:
   // `what` is "SYSTEM CALLS:FAULT[:when=NUMBER]", as for strace.
   Injection( Process const& process, std::string const& what )
       : strace_( { "-p", std::to_string( process.pid() ), "-e", "inject=" + what },
                  Process::Rights::all, strace ) {
      EXPECT_TRUE( strace_.writes( "attached" ) ) << strace_.output();
   }
   ~Injection() { strace_.end( SIGTERM ); }

 private:
   Process strace_;
};

// Kills ufdd at its first system call after an event, then at the second, and so on, until ufdd
// survives the event and the act.
TEST_F( FaultTest, killedAtAnySystemCallLosesNoPort ) {
   std::vector< std::string > ports{ "d1-far", "d2-far" };
   plug( { "u1", "d1", "d2" } );
   // A port that is shut by protodown, if the kernel can make one.
   if ( std::system( "ip link add x1 type vxlan dstport 0 id 1 2>/dev/null" ) == 0 ) {
      ports.emplace_back( "x1" );
      set( "x1", true );
   }
   auto const way =
       arguments( "detection = \"events\"\n" + group( "a", "'u1'", "'d1', 'd2', 'x1'" ) );
   std::optional< ReadyUfdd > ufdd( way );
   std::vector< std::uint32_t > expected;
   for ( std::string const& port : ports )
      expected.push_back( transitions( port ) );
   int calls = 0;
   for ( bool wasKilled = true; wasKilled; ++calls ) {
      wasKilled = false;
      for ( bool const up : { false, true } ) {
         SCOPED_TRACE( std::to_string( calls + 1 ) + ( up ? " up" : " down" ) );
         {
            Injection const kill( *ufdd, "all:signal=KILL:when=" + std::to_string( calls + 1 ) );
            set( "u1-far", up );
            std::size_t const told = ufdd->count( "; uplinks: " );
            ASSERT_TRUE( eventually( [ & ] {
               bool done = true;
               for ( std::string const& port : ports )
                  done &= hasLink( port ) == up;
               return done || ufdd->hasEnded();
            } ) );
            // The answer to SIGUSR2 shows that ufdd has finished with the event.
            ufdd->signal( SIGUSR2 );
            ASSERT_TRUE( eventually(
                [ & ] { return ufdd->hasEnded() || ufdd->count( "; uplinks: " ) > told; } ) );
         }
         if ( ufdd->hasEnded() ) {
            wasKilled = true;
            ufdd.emplace( way );
         }
         ASSERT_TRUE( haveLink( ports, up ) ) << ufdd->output();
         for ( std::size_t i = 0; i < ports.size(); ++i ) {
            ASSERT_EQ( transitions( ports[ i ] ), ++expected[ i ] ) << ports[ i ] << ufdd->output();
            std::string const name = ports[ i ].substr( 0, 2 );
            ASSERT_NE( recorded().find( ' ' + name + '\n' ) == std::string::npos, !up ) << name;
         }
      }
   }
   EXPECT_GT( calls, 20 );
   RecordProperty( "systemCalls", calls );
   EXPECT_EQ( ufdd->end( SIGTERM ), 0 );
}

TEST_F( FaultTest, failedActIsLoggedAndRetried ) {
   plug( { "u1", "d1", "d2", "d3" } );
   ReadyUfdd ufdd( arguments( group( "a", "'u1'", "'d1', 'd2', 'd3'" ) ) );
   {
      Injection const refusal( ufdd, "sendto:error=EPERM" );
      set( "u1-far", false );
      EXPECT_TRUE( ufdd.writes( "port d2 can't be shut: Operation not permitted; give ufdd "
                                "CAP_NET_ADMIN; trying again every second" ) )
          << ufdd.output();
      EXPECT_TRUE( hasLink( "d1-far" ) && hasLink( "d2-far" ) );
   }
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) ) << ufdd.output();
   set( "u1-far", true );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, true ) ) << ufdd.output();
   EXPECT_TRUE( ufdd.writes( "port d3 opened" ) );
   {
      // Stops ufdd between the record and the act. The record is its first write after the event.
      Injection const stop( ufdd, "pwrite64:signal=STOP" );
      set( "u1-far", false );
      ASSERT_TRUE( eventually( [ & ] { return recorded().ends_with( " d3\n" ); } ) );
      ip( "link del d1" );
      set( "d3", false );
   }
   ufdd.signal( SIGCONT );
   EXPECT_TRUE( haveLink( { "d2-far" }, false ) ) << ufdd.output();
   EXPECT_TRUE(
       ufdd.writes( "port d1 can't be shut: No such device; trying again when an interface" ) )
       << ufdd.output();
   plug( "d1" );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
   EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far" }, true ) ) << ufdd.output();
   EXPECT_FALSE( hasLink( "d3-far" ) ) << "its administrator came first";
}

TEST_F( FaultTest, interruptedDumpIsReadAgain ) {
   plug( { "u1", "d1" } );
   // More links than fit into one part of a dump.
   for ( int i = 0; i < 10; ++i )
      plug( "p" + std::to_string( i ) );
   set( "u1-far", false );
   // Stops ufdd after each request, when the kernel has made the first part of the answer already.
   std::string const trace = state_.path() + "/trace";
   std::vector< std::string > way{ "-D",
                                   "-o",
                                   trace,
                                   "-e",
                                   "trace=sendto,recvmsg",
                                   "-e",
                                   "inject=sendto:signal=STOP",
                                   builtProgram( "ufdd" ) };
   for ( std::string const& argument : arguments( group( "a", "'u1'", "'d1'" ) ) )
      way.push_back( argument );
   Process ufdd( way, Process::Rights::all, strace );
   auto const lines = [ & ]( char const* pattern ) {
      std::ifstream file( trace );
      std::regex const wanted( pattern );
      int count = 0;
      for ( std::string line; std::getline( file, line ); )
         count += std::regex_search( line, wanted );
      return count;
   };
   int stops = 0;
   auto const goesOn = [ & ] {
      int const now = lines( "^--- stopped by SIGSTOP" );
      if ( now == stops )
         return false;
      stops = now;
      ip( "link add new type veth peer name newer" );
      ip( "link del new" );
      ufdd.signal( SIGCONT );
      return true;
   };
   auto const dumps = [ & ] { return lines( "^sendto.*NLM_F_DUMP,.*SKIP_STATS" ); };
   EXPECT_TRUE( eventually( [ & ] { return goesOn() && dumps() > 1; } ) ) << contentOf( trace );
   EXPECT_TRUE( eventually( [ & ] {
      goesOn();
      return !hasLink( "d1-far" );
   } ) )
       << ufdd.output();
   EXPECT_EQ( lines( "ENOBUFS" ), 0 );
}

// If nothing can be recorded, ufdd shuts ports all the same.
TEST_F( FaultTest, fullDiskKeepsNoPortOpen ) {
   if ( unshare( CLONE_NEWNS ) != 0 || mount( "", "/", "", MS_REC | MS_PRIVATE, nullptr ) != 0 ||
        mount( "", state_.path().c_str(), "tmpfs", 0, "size=8k,mode=700" ) != 0 )
      GTEST_SKIP() << "no file system can be mounted here";
   plug( { "u1", "d1" } );
   auto const way = arguments( group( "a", "'u1'", "'d1'" ) );
   {
      std::ofstream( state_.path() + "/other" ) << std::string( 1 << 14, 'x' );
      ReadyUfdd ufdd( way );
      set( "u1-far", false );
      EXPECT_TRUE( haveLink( { "d1-far" }, false ) ) << ufdd.output();
      EXPECT_TRUE( ufdd.writes( "the ports that ufdd has shut can't be recorded in " +
                                state_.path() +
                                "/held: No space left on device; make room there" ) )
          << ufdd.output();
      std::filesystem::remove( state_.path() + "/other" );
      EXPECT_TRUE( ufdd.writes( "/held again" ) ) << ufdd.output();
      ufdd.end( SIGKILL );
   }
   set( "u1-far", true );
   Process ufdd( way );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
}

} // namespace
} // namespace Ufdd
