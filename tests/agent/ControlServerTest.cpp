#include "agent/control/ControlServer.h"

#include "agent/base/UnixSocket.h"
#include "agent/control/ControlText.h"
#include "platform/zet/Clock.h"
#include "tests/agent/ForkedProcess.h"
#include "tests/agent/Process.h"
#include "tests/agent/TextMatchers.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <grp.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Ufdd {
namespace {

using Kind = ControlReply::Kind;

// Returns what is wrong with a request; empty if it is right.
std::string
faultOf( std::string const& text ) {
   try {
      requestOf( text );
   } catch ( ControlTextError const& error ) {
      return error.what();
   }
   return "";
}

TEST( ControlText, keepsRequestsAndReplies ) {
   ControlRequest const request{ .verb = ControlRequest::Verb::down,
                                 .targets = { "rack 1", "server1" },
                                 .holdFor = 5400,
                                 .confirmWithin = {},
                                 .reason = "new cable: at 12",
                                 .isForced = true,
                                 .isDryRun = true };
   std::string const text = textOf( request );
   EXPECT_EQ( text, "ufdd-request 1\ndo down\ntarget rack 1\ntarget server1\nfor 5400.000\n"
                    "reason new cable: at 12\nforce\ndry-run\nend\n" );
   EXPECT_EQ( textOf( requestOf( text ) ), text );
   EXPECT_EQ( requestOf( "ufdd-request 1\ndo reload\nconfirm 120\nend\n" ).confirmWithin, 120. );
   std::string const report = "ufdd-request 1\ndo report\nreport down bfd session is  Down\n"
                              "report up b\nend\n";
   EXPECT_EQ( textOf( requestOf( report ) ), report );
   EXPECT_EQ( requestOf( report ).reports[ 0 ].reason, "session is  Down" );
   for ( std::size_t size = 0; size < text.size(); ++size )
      EXPECT_NE( faultOf( text.substr( 0, size ) ), "" ) << size;

   ControlReply const reply{
      .kind = Kind::refused, .text = "no:\nnever", .toShut = { "a", "b" }, .toOpen = { "c" }
   };
   EXPECT_EQ( textOf( reply ),
              "ufdd-reply 1\nis refused\ntext no: never\nshut a\nshut b\nopen c\nend\n" );
   EXPECT_EQ( textOf( replyOf( textOf( reply ) ) ), textOf( reply ) );
   EXPECT_THROW( replyOf( "ufdd-reply 1\nis refused\ncolour red\nend\n" ), ControlTextError );
}

TEST( ControlText, refusesWhatBreaksItsRules ) {
   std::string const begin = "ufdd-request 1\ndo ";
   for ( auto const& [ text, fault ] :
         std::initializer_list< std::pair< std::string, std::string > >{
             { begin + "dwn\nend\n", "unknown request \"dwn\"; did you mean down?" },
             { begin + "down\ntarget a\ncolour red\nend\n", "unknown key \"colour\"" },
             { begin + "down\nend\n", "down needs the name of a group or port" },
             { begin + "down\ntarget \nend\n", "the name of a group or port is empty" },
             { begin + "auto\ntarget a\nfor 2\nend\n", "auto takes no \"for\"" },
             { begin + "down\ntarget a\nfor 2\nfor 3\nend\n", "the key \"for\" is there twice" },
             { begin + "down\ntarget a\nforce 1\nend\n", "\"1\" follows a key that has no value" },
             { begin + "report\nend\n", "report needs the name of a check" },
             { begin + "report\nreport dwn a\nend\n",
               "unknown result \"dwn\"; did you mean down?" },
             { begin + "report\nreport up\nend\n", "a report needs the name of a check" },
             { begin + "report\nreport up a\ntarget a\nend\n", "report takes no \"target\"" },
             { begin + "confirm\nend\nmore\nend\n", "something follows its end" },
             { begin + "down\ntarget a\x1b[2J\nend\n", " has a control character in it" },
             { begin + "down\ntarget a\nreason " + std::string( 257, 'x' ) + "\nend\n",
               "the reason has 257 bytes; 256 are allowed" },
             { begin + "confirm\n" + std::string( 4096, 'x' ) + "\nend\n",
               "it has more than 4096 bytes" },
             { begin + std::string( 1, '\0' ) + "\nend\n", "it has a zero byte in it" },
             { "ufdd-request 2\ndo confirm\nend\n", "use ufdd and ufdctl of the same version" },
             { "ufdd-request 1\nend\n", "its second line begins with \"end\"" } } )
      EXPECT_THAT( faultOf( text ), HasSubstr( fault ) );
   for ( char const* const number :
         { "", "0", "-1", "1e9", "nan", "inf", "0x10", " 5", "5 ", "31622401", "1.5.2" } )
      EXPECT_THAT( faultOf( begin + "down\ntarget a\nfor " + number + "\nend\n" ),
                   HasSubstr( " is no number of seconds above 0, and at most 31622400" ) )
          << number;
   ControlRequest injecting;
   injecting.verb = ControlRequest::Verb::down;
   injecting.targets = { "a\nforce" };
   EXPECT_THROW( textOf( injecting ), ControlTextError );
}

// Counts the requests, and answers with as many ports as it is told to.
struct FakeSteering final : Steering {
   ControlReply handle( ControlRequest const& request ) override {
      requests.push_back( request );
      return { .kind = Kind::done,
               .text = "",
               .toShut = std::vector< std::string >( portCount, "a-long-port-nam" ),
               .toOpen = {} };
   }
   std::vector< ControlRequest > requests;
   std::size_t portCount = 1;
};

class ControlServerTest : public testing::Test, public Log {
 protected:
   ControlServerTest() {
      static double* clock;
      clock = &now;
      Zet::clockIs( [] { return *clock; } );
      serve( std::nullopt );
   }
   ~ControlServerTest() override { Zet::clockIs( nullptr ); }
   void line( std::string_view text ) override { lines.append( text ).append( "\n" ); }

   void serve( std::optional< AdminGroup > admins ) {
      server.reset();
      server.emplace( ControlServer::Settings{ path, std::move( admins ) }, steering, *this );
      server->listen();
      now += 10; // The log holds back no trouble of before.
   }
   // Runs turns until nothing is left to do.
   void runTurns() {
      for ( int i = 0; i < 40; ++i ) {
         server->handleReady();
         endTurn();
      }
   }
   void endTurn() {
      while ( server->handleRequest() )
         ;
      server->endTurn();
   }
   // Lets seconds pass, and wakes the server when it asked for that.
   void pass( double seconds ) {
      double const end = now + seconds;
      int wakings = 0;
      for ( auto next = server->nextTime(); next && *next <= end; next = server->nextTime() ) {
         ASSERT_LE( ++wakings, 100 ) << "wakes without end";
         now = std::max( now, *next );
         runTurns();
      }
      now = end;
      runTurns();
   }
   Descriptor connected( std::string const& text ) const {
      Descriptor stream = unixStreamTo( path );
      send( stream.fd(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
      return stream;
   }
   // Returns what has come, and whether that was all.
   static std::pair< std::string, bool > read( Descriptor const& stream ) {
      std::string text;
      std::array< char, 1 << 16 > bytes;
      ssize_t size = 0;
      while ( ( size = recv( stream.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT ) ) > 0 )
         text.append( bytes.data(), static_cast< std::size_t >( size ) );
      return { text, size == 0 || errno == ECONNRESET };
   }
   // Returns the kind of the reply, and its text.
   static std::pair< Kind, std::string > replied( Descriptor const& stream ) {
      auto const [ text, isAll ] = read( stream );
      EXPECT_TRUE( isAll );
      ControlReply const reply = replyOf( text );
      return { reply.kind, reply.text };
   }

   std::string const request = "ufdd-request 1\ndo down\ntarget server1\nend\n";
   Directory const directory;
   std::string const path = directory.path() + "/control";
   std::string lines;
   double now = 1000;
   FakeSteering steering;
   std::optional< ControlServer > server;
};

TEST_F( ControlServerTest, carriesOutRequestsAfterTheTurn ) {
   Descriptor const stream = connected( request );
   server->handleReady();
   server->handleReady();
   EXPECT_TRUE( steering.requests.empty() ) << "ports that have failed come first";
   EXPECT_TRUE( server->handleRequest() );
   EXPECT_FALSE( server->handleRequest() );
   ASSERT_EQ( steering.requests.size(), 1u );
   EXPECT_EQ( steering.requests[ 0 ].targets, std::vector< std::string >{ "server1" } );
   EXPECT_EQ( steering.requests[ 0 ].pid, getpid() );
   EXPECT_EQ( steering.requests[ 0 ].uid, getuid() );
   EXPECT_EQ(
       read( stream ),
       std::pair( std::string( "ufdd-reply 1\nis done\nshut a-long-port-nam\nend\n" ), false ) );
   server->endTurn();
   EXPECT_TRUE( read( stream ).second );
}

TEST_F( ControlServerTest, takesNothingButWholeRequestsInTime ) {
   std::string const half = request.substr( 0, request.size() - 1 );
   Descriptor const slow = connected( half );
   Descriptor const silent = connected( "" );
   Descriptor const halfClosed = connected( half );
   shutdown( halfClosed.fd(), SHUT_WR );
   Descriptor const closedAfterIt = connected( request );
   shutdown( closedAfterIt.fd(), SHUT_WR );
   connected( half ); // Goes at once.
   connected( "" );
   runTurns();
   EXPECT_EQ( server->clientCount(), 2u ) << "those that may still send the rest";
   EXPECT_EQ( replied( closedAfterIt ).first, Kind::done );
   EXPECT_EQ( replied( halfClosed ),
              std::pair( Kind::refused, std::string( "the request is refused: it is cut short: it "
                                                     "has no line \"end\"" ) ) );
   pass( 0.9 );
   send( slow.fd(), "\n", 1, 0 );
   now += 0.2; // It was in time, but the loop had other things to do.
   endTurn();
   runTurns();
   EXPECT_EQ( replied( slow ).first, Kind::done );
   EXPECT_EQ( replied( silent ).second, "it sent no whole request within 1 s" );
   EXPECT_EQ( steering.requests.size(), 2u );

   for ( std::string const& text :
         { std::string( 5000, 'x' ), request + "more", std::string( 10, '\0' ) + "\nend\n",
           std::string( "GET / HTTP/1.1\r\n\r\n\nend\n" ),
           request + std::string( 100000, 'x' ) } ) {
      Descriptor const stream = connected( text );
      runTurns();
      EXPECT_EQ( replied( stream ).first, Kind::refused ) << text.substr( 0, 20 );
   }
   EXPECT_EQ( steering.requests.size(), 2u );
   EXPECT_EQ( server->clientCount(), 0u );
   pass( 2 );
   EXPECT_FALSE( server->nextTime() ) << "wakes for nobody";
}

TEST_F( ControlServerTest, waitsForNoReader ) {
   steering.portCount = 40000;
   Descriptor const lazy = connected( request );
   Descriptor const reader = connected( request );
   connected( request ); // Is gone before the reply.
   Descriptor const halfClosed = connected( request );
   shutdown( halfClosed.fd(), SHUT_WR );
   runTurns();
   EXPECT_EQ( steering.requests.size(), 4u );
   EXPECT_EQ( server->clientCount(), 3u );
   auto [ text, isAll ] = read( reader );
   for ( int i = 0; i < 20 && !isAll; ++i ) {
      endTurn();
      auto const more = read( reader );
      text += more.first;
      isAll = more.second;
   }
   EXPECT_EQ( replyOf( text ).toShut.size(), 40000u );
   pass( 2 );
   EXPECT_EQ( server->clientCount(), 0u );
   EXPECT_THAT( lines, HasSubstr( " was dropped: it did not read its reply" ) );
}

TEST_F( ControlServerTest, refusesClientsBeyondTheLimit ) {
   if ( geteuid() != 0 )
      GTEST_SKIP() << "nobody but root has the last place";
   std::deque< Descriptor > silent;
   for ( std::size_t i = 0; i < ControlServer::clientLimit; ++i )
      silent.push_back( connected( "" ) );
   runTurns();
   Descriptor const stream = connected( request );
   runTurns();
   EXPECT_EQ( replied( stream ),
              std::pair( Kind::failed,
                         std::string( "ufdd serves as many requests as it can; try again" ) ) );
   EXPECT_THAT( lines, HasSubstr( "control: clients are refused: 8 are connected to " ) );
   pass( 1.1 );
   Descriptor const later = connected( request );
   runTurns();
   EXPECT_EQ( replied( later ).first, Kind::done ) << "once the silent ones are dropped";
}

// Connects as another user, whose groups count as they are.
TEST_F( ControlServerTest, letsOnlyAdministratorsSteer ) {
   constexpr uid_t nobody = 65534;
   constexpr gid_t admins = 4242;
   if ( geteuid() != 0 )
      GTEST_SKIP() << "nobody but root can connect as somebody else";
   chmod( directory.path().c_str(), 0755 );
   auto const askAs = [ & ]( uid_t uid, gid_t gid, std::vector< gid_t > groups ) {
      chmod( path.c_str(), 0666 );
      std::array< int, 2 > ends{};
      EXPECT_EQ( pipe( ends.data() ), 0 );
      ForkedProcess client( [ & ] {
         if ( setgroups( groups.size(), groups.data() ) != 0 || setgid( gid ) != 0 ||
              setuid( uid ) != 0 )
            return false;
         Descriptor const stream = connected( request );
         close( ends[ 1 ] );
         char byte;
         while ( ::read( ends[ 0 ], &byte, 1 ) < 0 ) // Until the server has run.
            ;
         return replied( stream ).first == Kind::done;
      } );
      close( ends[ 0 ] );
      EXPECT_TRUE( eventually( [ & ] {
         runTurns();
         return lines.find( "was refused" ) != std::string::npos || !steering.requests.empty();
      } ) );
      close( ends[ 1 ] );
      bool const isDone = client.wait() == 0;
      EXPECT_EQ( isDone, !steering.requests.empty() );
      return std::exchange( lines, {} );
   };
   EXPECT_THAT(
       askAs( nobody, admins, { admins } ),
       HasSubstr( " of user 65534 was refused: only root may steer ufdd; to let a group do "
                  "so, start ufdd with --admin-group" ) );
   serve( AdminGroup{ "netops", admins } );
   struct stat file {};
   ASSERT_EQ( stat( path.c_str(), &file ), 0 );
   EXPECT_EQ( file.st_gid, admins );
   EXPECT_THAT( askAs( nobody, nobody, { 1, 2, 3 } ),
                HasSubstr( "only root and the group netops may steer ufdd" ) );
   EXPECT_TRUE( steering.requests.empty() );
   std::vector< gid_t > many( 1000 );
   for ( gid_t i = 0; i < many.size(); ++i )
      many[ i ] = 5000 + i;
   many.back() = admins;
   EXPECT_EQ( askAs( nobody, nobody, many ), "" );
   steering.requests.clear();
   EXPECT_EQ( askAs( nobody, admins, {} ), "" );
   EXPECT_EQ( adminGroup( "root" ).id, 0u );
   EXPECT_THROW( adminGroup( "no-such-group-here" ), std::runtime_error );
}

} // namespace
} // namespace Ufdd
