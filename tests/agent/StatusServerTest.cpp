#include "agent/status/StatusServer.h"

#include "platform/zet/Clock.h"
#include "tests/agent/Process.h"
#include "tests/agent/StatusReader.h"
#include "tests/agent/TextMatchers.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Ufdd {
namespace {

using Tests::stateOf;
using UplinkFailureDetection::Status;
using Zet::NboAttrLog::Demuxer;

class StatusServerTest : public testing::Test, public Log {
 protected:
   StatusServerTest() {
      static double* clock;
      clock = &now;
      Zet::clockIs( [] { return *clock; } );
      for ( int i = 0; i < 200; ++i )
         status->groupIs( "group" + std::to_string( i ) );
      serve();
   }
   ~StatusServerTest() override { Zet::clockIs( nullptr ); }
   void line( std::string_view text ) override { lines.append( text ).append( "\n" ); }

   void serve() { server.emplace( path, roots, *this ).listen(); }
   StatusReader& connected( bool saysHello = true ) {
      StatusReader& reader = readers.emplace_back( path, saysHello );
      runTurns();
      return reader;
   }
   // Connects a client without a replica, which says hello.
   Descriptor greetedStream() {
      Descriptor stream = unixStreamTo( path );
      StatusReplica const replica;
      auto const hello = replica.hello();
      send( stream.fd(), hello.data(), hello.size(), MSG_NOSIGNAL );
      runTurns();
      return stream;
   }
   // Lets seconds pass, and wakes the server when it asked for that.
   void pass( double seconds ) {
      double const end = now + seconds;
      // Fails if the server asks to be woken without end.
      int wakings = 0;
      for ( auto next = server->nextTime(); next && *next <= end; next = server->nextTime() ) {
         ASSERT_LE( ++wakings, 100 ) << lines;
         now = *next;
         runTurns();
      }
      now = end;
      runTurns();
   }
   // Runs turns until nothing is left to do.
   void runTurns() {
      for ( int i = 0; i < 40; ++i ) {
         server->handleReady();
         server->endTurn();
         for ( StatusReader& reader : readers )
            reader.read();
      }
   }
   bool isReplica( StatusReader const& reader ) const {
      return reader.isOpen && reader.replica.isInStep() &&
             stateOf( *reader.replica.status() ) == stateOf( *status ) &&
             stateOf( *reader.replica.state() ) == stateOf( *roots.state );
   }
   std::size_t lineCount() const {
      return static_cast< std::size_t >( std::count( lines.begin(), lines.end(), '\n' ) );
   }
   // Returns why a server can't listen on the path, or nothing.
   std::string objection() {
      try {
         StatusServer( path, roots, *this ).listen();
      } catch ( std::system_error const& error ) {
         return error.what();
      }
      return "";
   }

   Directory const directory;
   std::string const path = directory.path() + "/run/status";
   std::string lines;
   double now = 1000;
   StatusRoots const roots = StatusRoots::make();
   Zet::Ptr< Status > const status = roots.status;
   std::optional< StatusServer > server;
   std::deque< StatusReader > readers;
};

TEST_F( StatusServerTest, appliesNothingThatAClientSends ) {
   StatusReader const& witness = connected();
   std::string const before = stateOf( *status );
   // A client's hello, followed by the whole log of such a State.
   Tests::End< State > writer( Tests::Side::client, Zet::make< State >( "state" ) );
   writer.announce();
   Tests::Bytes const log = Tests::taken( *writer.demuxer );
   std::size_t const helloSize = connected().replica.hello().size();
   for ( std::size_t const size : { log.size(), helloSize + 1 } ) {
      StatusReader& sender = connected( false );
      sender.send( std::span( log ).first( 3 ) );
      runTurns();
      sender.send( std::span( log ).first( helloSize ).subspan( 3 ) );
      runTurns();
      EXPECT_TRUE( isReplica( sender ) );
      sender.send( std::span( log ).first( size ).subspan( helloSize ) );
      runTurns();
      EXPECT_FALSE( sender.isOpen );
   }
   connected( false ).send( Tests::Bytes( 100, 'x' ) );
   pass( 1 );
   EXPECT_FALSE( readers.back().isOpen );
   EXPECT_THAT(
       lines,
       HasSubstr( "dropped: it sent more than its hello, but the status can only be read\n" ) );
   EXPECT_THAT( lines, HasSubstr( "dropped: the type of the hello, at offset 6: a text has" ) );
   EXPECT_EQ( stateOf( *status ), before );
   status->groupIs( "new" );
   runTurns();
   EXPECT_TRUE( isReplica( witness ) );
}

TEST_F( StatusServerTest, dropsClientsWithoutATimelyHello ) {
   StatusReader const& polite = connected();
   Zet::Ptr< Demuxer > const other = Demuxer::DemuxerIs( Demuxer::Side::client, 0 );
   other->out()->helloIs( Zet::TypeId( "UplinkFailureDetection::Config" ) );
   connected( false ).send( other->out()->unsent() );
   runTurns();
   EXPECT_FALSE( readers.back().isOpen );
   EXPECT_THAT( lines, HasSubstr( "the type of the hello" ) );

   auto const hello = polite.replica.hello();
   for ( std::size_t i = 1; i < StatusServer::clientLimit; ++i )
      connected( false ).send( hello.first( std::min( i, hello.size() - 1 ) ) );
   pass( 0.9 );
   EXPECT_TRUE( readers.back().isOpen );
   // The hello was sent in time, but the server had not read it.
   readers.back().send( hello.last( 1 ) );
   now += 0.2;
   server->endTurn();
   runTurns();
   EXPECT_EQ( server->clients().size(), 2u );
   EXPECT_TRUE( isReplica( polite ) && isReplica( readers.back() ) );
   pass( 1 );
   EXPECT_EQ( lineCount(), 2u ) << lines;
   EXPECT_THAT( lines, EndsWith( "it sent no hello within 1 s, the last of 63 in a second\n" ) );
}

TEST_F( StatusServerTest, reservesTheLastPlaceForRoot ) {
   constexpr uid_t nobody = 65534;
   if ( geteuid() != 0 )
      GTEST_SKIP() << "nobody but root can connect as somebody else";
   chmod( directory.path().c_str(), 0755 );
   chmod( ( directory.path() + "/run" ).c_str(), 0755 );
   chmod( path.c_str(), 0666 );
   ASSERT_EQ( seteuid( nobody ), 0 );
   for ( std::size_t i = 0; i < StatusServer::clientLimit; ++i )
      readers.emplace_back( path );
   ASSERT_EQ( seteuid( 0 ), 0 );
   runTurns();
   runTurns();
   EXPECT_EQ( server->clients().size(), StatusServer::clientLimit - 1 );
   EXPECT_FALSE( readers.back().isOpen );
   EXPECT_EQ( lines, "status: clients are refused: 64 are connected to " + path +
                         ", and the last place is reserved for root; end one of them\n" );
   EXPECT_TRUE( isReplica( connected() ) );
}

// A client may ask for the Status alone, as all did before there was a State.
TEST_F( StatusServerTest, servesTheStatusAlone ) {
   Tests::End< Status > reader( Tests::Side::client, Zet::make< Status >( "status" ) );
   reader.demuxer->in()->expectedTypeIs( Status::_fwkType()->fullName() );
   reader.demuxer->out()->helloIs( Zet::TypeId( Status::_fwkType()->fullName().view() ) );
   Descriptor const stream = unixStreamTo( path );
   Tests::Bytes const hello = Tests::taken( *reader.demuxer );
   send( stream.fd(), hello.data(), hello.size(), MSG_NOSIGNAL );
   runTurns();
   Tests::Bytes log( 1 << 16 );
   log.resize( static_cast< std::size_t >( recv( stream.fd(), log.data(), log.size(), 0 ) ) );
   EXPECT_TRUE( reader.receive( log ) ) << reader.error();
   EXPECT_EQ( stateOf( *reader.root ), stateOf( *status ) );
}

// Sends changes only at the end of a turn, after the acts on ports.
TEST_F( StatusServerTest, clientsWaitForTheEndOfTheTurn ) {
   StatusReader const& reader = connected();
   auto const group = status->group( "group7" );
   group->numTimesDisabledInc( 1 );
   status->groupDel( "group8" );
   status->groupDel( "group9" );
   status->groupIs( "group9" )->prevDisabledTimeIs( 5 );
   EXPECT_EQ( server->clients().front()->unsentSize(), 0u );
   runTurns();
   EXPECT_TRUE( isReplica( reader ) );
}

TEST_F( StatusServerTest, dropsClientsThatReadTooSlowly ) {
   Descriptor const slow = greetedStream();
   for ( double const end = now + 20; now < end && lines.empty(); now += 0.1 ) {
      for ( int i = 0; i < 200; ++i )
         status->group( "group" + std::to_string( i ) )->numTimesDisabledInc( 1 );
      server->endTurn();
      std::array< char, 100 > bytes;
      EXPECT_GT( recv( slow.fd(), bytes.data(), bytes.size(), 0 ), 0 );
   }
   EXPECT_THAT( lines,
                HasSubstr( ": it reads too slowly: its socket took nothing for 5 s, and " ) );
}

TEST_F( StatusServerTest, clientsTakeOnlyTheMemoryThatTheyUse ) {
   auto const resident = [] {
      std::size_t pages = 0;
      std::ifstream( "/proc/self/statm" ) >> pages >> pages;
      return pages * static_cast< std::size_t >( sysconf( _SC_PAGESIZE ) );
   };
   malloc_trim( 0 ); // Else clients would reuse the memory of former ones.
   std::size_t const before = resident();
   std::deque< Descriptor > streams;
   for ( std::size_t i = 1; i < StatusServer::clientLimit; ++i )
      streams.push_back( greetedStream() );
   EXPECT_EQ( server->clients().size(), streams.size() );
   std::size_t const used = resident() - before;
#ifdef __SANITIZE_ADDRESS__
   GTEST_SKIP() << "AddressSanitizer keeps what is freed: " << used << " bytes";
#endif
   EXPECT_LT( used, streams.size() * StatusClient::unsentLimit * 3 / 4 );
}

TEST_F( StatusServerTest, onlyOneServerServesAPath ) {
   struct stat file {};
   ASSERT_EQ( stat( ( directory.path() + "/run" ).c_str(), &file ), 0 );
   EXPECT_EQ( file.st_mode & 0777, 0750u );
   ASSERT_EQ( stat( path.c_str(), &file ), 0 );
   EXPECT_EQ( file.st_mode & 0777, 0660u );

   EXPECT_THAT( objection(), HasSubstr( "another ufdd is running and serves " + path ) );
   EXPECT_TRUE( isReplica( connected() ) ) << "whom the second one has not hurt";
   server.reset();
   EXPECT_NE( stat( path.c_str(), &file ), 0 );

   sockaddr_un const address = unixAddress( path );
   {
      Descriptor const other = unixStream();
      ASSERT_EQ(
          bind( other.fd(), reinterpret_cast< sockaddr const* >( &address ), sizeof address ), 0 );
      ASSERT_EQ( listen( other.fd(), 1 ), 0 );
      EXPECT_THAT( objection(), HasSubstr( "another program listens on " + path ) );
   }
   serve();
   EXPECT_TRUE( isReplica( connected() ) ) << "where a stale file was";
   std::filesystem::remove_all( directory.path() + "/run" );
   pass( 10 );
   EXPECT_TRUE( isReplica( connected() ) ) << "where one was removed";
   server.reset();
   std::ofstream( path ) << "somebody's";
   serve();
   EXPECT_THAT( lines, HasSubstr( path + " is not a socket" ) );
   EXPECT_EQ( stat( path.c_str(), &file ), 0 );
   server.emplace( directory.path() + "/none/status/socket", roots, *this ).listen();
   EXPECT_THAT( lines, HasSubstr( "make it, or name another socket by --socket" ) );
   std::filesystem::create_directory( directory.path() + "/none" );
   pass( 10 );
   EXPECT_TRUE( std::filesystem::exists( directory.path() + "/none/status/socket" ) );
}

// An entity that the peer made nondestructing would stay in the replica's memory for good.
TEST( StatusReplica, leavesNoEntityToThePeer ) {
   auto const status = UplinkFailureDetection::statusFactory( "status" );
   status->isNondestructingIs( true );
   StatusReplica replica;
   std::array< int, 2 > sockets{};
   ASSERT_EQ( socketpair( AF_UNIX, SOCK_STREAM, 0, sockets.data() ), 0 );
   Descriptor const theirs( sockets[ 1 ] );
   auto const hello = replica.hello();
   send( theirs.fd(), hello.data(), hello.size(), MSG_NOSIGNAL );
   {
      // Goes before the status counts again: references made meanwhile are not counted.
      StatusRoots roots = StatusRoots::make();
      roots.status = status;
      StatusClient client{ Descriptor( sockets[ 0 ] ), roots };
      client.receive();
      client.send();
   }
   std::array< unsigned char, 4096 > bytes;
   ssize_t const size = ::recv( theirs.fd(), bytes.data(), bytes.size(), MSG_DONTWAIT );
   ASSERT_GT( size, 0 );
   EXPECT_TRUE( replica.receive( { bytes.data(), static_cast< std::size_t >( size ) } ) );
   EXPECT_TRUE( replica.isInStep() );
   EXPECT_FALSE( replica.status()->isNondestructing() );
   status->isNondestructingIs( false );
}

} // namespace
} // namespace Ufdd
