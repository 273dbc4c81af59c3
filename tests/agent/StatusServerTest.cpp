#include "agent/StatusServer.h"

#include "platform/zet/Clock.h"
#include "tests/agent/Process.h"
#include "tests/agent/StatusReader.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

#include <deque>
#include <fstream>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace Ufdd {
namespace {

using Tests::stateOf;
using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::Status;

class StatusServerTest : public testing::Test, public Log {
 protected:
   StatusServerTest() {
      Zet::clockIs( [] { return time; } );
      for ( int i = 0; i < 200; ++i )
         status->groupIs( "group" + std::to_string( i ) );
      serve();
   }
   ~StatusServerTest() override { Zet::clockIs( nullptr ); }
   void line( std::string_view text ) override { lines.append( text ).append( "\n" ); }

   void serve() { server.emplace( path, status, *this ).listen(); }
   StatusReader& connected() {
      StatusReader& reader = readers.emplace_back( path );
      settle();
      return reader;
   }
   // A turn of the loop.
   void turn() {
      server->handleReady();
      server->settle();
   }
   // Turns, until nothing is left to do.
   void settle() {
      for ( int i = 0; i < 40; ++i ) {
         turn();
         for ( StatusReader& reader : readers )
            reader.read();
      }
   }
   // About 6 kB of records.
   void changeAll() {
      for ( auto group = status->groupIterator(); group; ++group )
         group->numTimesDisabledInc( 1 );
   }
   bool isReplica( StatusReader const& reader ) const {
      return reader.isOpen && reader.replica.isInStep() &&
             stateOf( *reader.replica.status() ) == stateOf( *status );
   }
   // Why a server can't have the path.
   std::string objection() {
      try {
         StatusServer( path, status, *this ).listen();
      } catch ( std::system_error const& error ) {
         return error.what();
      }
      return "";
   }

   static inline double time = 1000;
   Directory const directory;
   std::string const path = directory.path() + "/run/status";
   std::string lines;
   Zet::Ptr< Status > const status = Zet::make< Status >( "status" );
   std::optional< StatusServer > server;
   std::deque< StatusReader > readers;
};

TEST_F( StatusServerTest, tellsAllAndThenEveryChange ) {
   status->group( "group7" )->groupLinkStatusIs( GroupLinkStatus::down );
   status->group( "group7" )->prevDisabledTimeIs( 123.456 );
   StatusReader const& first = connected();
   EXPECT_TRUE( isReplica( first ) ) << first.replica.error();
   status->group( "group8" )->groupLinkStatusIs( GroupLinkStatus::up );
   status->groupDel( "group7" );
   StatusReader const& second = connected();
   status->groupIs( "new" )->numTimesDisabledIs( 3 );
   changeAll();
   settle();
   EXPECT_TRUE( isReplica( first ) ) << first.replica.error();
   EXPECT_TRUE( isReplica( second ) ) << second.replica.error();
   EXPECT_FALSE( server->nextTime() );
}

TEST_F( StatusServerTest, dropsOnlyWhoDoesNotRead ) {
   StatusReader const& reading = connected();
   StatusReader slow( path );
   turn();
   StatusReader const stuck( path );
   turn();
   for ( int i = 0; i < 400; ++i ) {
      changeAll();
      turn();
      readers.front().read();
      for ( auto const& client : server->clients() )
         ASSERT_LE( client->unsentSize(), StatusClient::unsentLimit );
   }
   // As full as they get: one record and the markers' reserve short of the limit.
   EXPECT_GT( server->clients()[ 1 ]->unsentSize(), StatusClient::unsentLimit - 8192 );
   EXPECT_GT( server->clients()[ 2 ]->unsentSize(), StatusClient::unsentLimit - 8192 );
   EXPECT_EQ( server->nextTime(), time + StatusClient::patience );
   time += StatusClient::patience - 0.5;
   slow.read();
   turn();
   EXPECT_EQ( server->clients().size(), 3u );
   EXPECT_EQ( server->nextTime(), time + 0.5 );
   time += 0.5;
   turn();
   EXPECT_EQ( server->clients().size(), 2u );
   EXPECT_EQ( lines.find( "status: client of process " + std::to_string( getpid() ) +
                          " dropped: it has read nothing for 5 s, and 10" ),
              0u )
       << lines;
   // What had no room comes as the last state.
   for ( int i = 0; i < 40; ++i ) {
      slow.read();
      turn();
   }
   settle();
   EXPECT_TRUE( isReplica( slow ) ) << slow.replica.error();
   EXPECT_TRUE( isReplica( reading ) ) << reading.replica.error();
   EXPECT_FALSE( server->nextTime() );
}

TEST_F( StatusServerTest, servesSoManyAndRefusesMore ) {
   for ( std::size_t i = 0; i < StatusServer::clientLimit; ++i )
      EXPECT_TRUE( isReplica( connected() ) );
   EXPECT_FALSE( connected().isOpen );
   EXPECT_FALSE( connected().isOpen );
   EXPECT_EQ( lines, "status: clients are refused: 32 are connected to " + path +
                         ", and more are not served\n" );
   EXPECT_TRUE( isReplica( readers.front() ) );
   readers.pop_front();
   settle();
   EXPECT_TRUE( isReplica( connected() ) );
}

TEST_F( StatusServerTest, appliesNothingThatAClientSends ) {
   StatusReader const& witness = connected();
   std::string const before = stateOf( *status );
   // All of what a writer of such a Status would say first.
   Tests::End< Status > writer( Tests::Side::client, Zet::make< Status >( "status" ) );
   writer.announce();
   Tests::Bytes const log = Tests::taken( *writer.demuxer );
   std::size_t const helloSize = connected().replica.hello().size();
   for ( std::size_t const size : { log.size(), helloSize + 1 } ) {
      StatusReader& sender = connected();
      sender.send( std::span( log ).first( 3 ) );
      settle();
      sender.send( std::span( log ).first( helloSize ).subspan( 3 ) );
      settle();
      EXPECT_TRUE( isReplica( sender ) );
      sender.send( std::span( log ).first( size ).subspan( helloSize ) );
      settle();
      EXPECT_FALSE( sender.isOpen );
   }
   connected().send( Tests::Bytes( 100, 'x' ) );
   settle();
   EXPECT_FALSE( readers.back().isOpen );
   EXPECT_NE(
       lines.find( "dropped: it sent more than its hello, and the status can only be read\n" ),
       std::string::npos )
       << lines;
   EXPECT_NE( lines.find( "dropped: the type of the hello, at offset 6: a text has" ),
              std::string::npos )
       << lines;
   EXPECT_EQ( stateOf( *status ), before );
   changeAll();
   settle();
   EXPECT_TRUE( isReplica( witness ) );
}

TEST_F( StatusServerTest, aPathIsServedByOne ) {
   struct stat file {};
   ASSERT_EQ( stat( ( directory.path() + "/run" ).c_str(), &file ), 0 );
   EXPECT_EQ( file.st_mode & 0777, 0750u );
   ASSERT_EQ( stat( path.c_str(), &file ), 0 );
   EXPECT_EQ( file.st_mode & 0777, 0660u );

   EXPECT_NE( objection().find( "another ufdd is running and serves " + path ), std::string::npos );
   EXPECT_TRUE( isReplica( connected() ) ) << "whom the second one has not hurt";
   server.reset();
   EXPECT_NE( stat( path.c_str(), &file ), 0 );

   sockaddr_un const address = unixAddress( path );
   {
      Descriptor const other = unixStream();
      ASSERT_EQ(
          bind( other.fd(), reinterpret_cast< sockaddr const* >( &address ), sizeof address ), 0 );
      ASSERT_EQ( listen( other.fd(), 1 ), 0 );
      EXPECT_NE( objection().find( "another program listens on " + path ), std::string::npos );
   }
   serve();
   EXPECT_TRUE( isReplica( connected() ) ) << "in the place of a stale file";
   server.reset();
   std::ofstream( path ) << "somebody's";
   serve();
   EXPECT_NE( lines.find( path + " is no socket" ), std::string::npos ) << lines;
   EXPECT_EQ( stat( path.c_str(), &file ), 0 );
}

} // namespace
} // namespace Ufdd
