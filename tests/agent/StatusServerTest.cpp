#include "agent/status/StatusServer.h"

#include "platform/zet/Clock.h"
#include "tests/agent/Process.h"
#include "tests/agent/StatusReader.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace Ufdd {
namespace {

using Tests::stateOf;
using UplinkFailureDetection::Status;

class StatusServerTest : public testing::Test, public Log {
 protected:
   StatusServerTest() {
      for ( int i = 0; i < 200; ++i )
         status->groupIs( "group" + std::to_string( i ) );
      serve();
   }
   void line( std::string_view text ) override { lines.append( text ).append( "\n" ); }

   void serve() { server.emplace( path, status, *this ).listen(); }
   StatusReader& connected() {
      StatusReader& reader = readers.emplace_back( path );
      settle();
      return reader;
   }
   // Turns of the loop, until nothing is left to do.
   void settle() {
      for ( int i = 0; i < 40; ++i ) {
         server->handleReady();
         server->settle();
         for ( StatusReader& reader : readers )
            reader.read();
      }
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

   Directory const directory;
   std::string const path = directory.path() + "/run/status";
   std::string lines;
   Zet::Ptr< Status > const status = Zet::make< Status >( "status" );
   std::optional< StatusServer > server;
   std::deque< StatusReader > readers;
};

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
   status->groupIs( "new" );
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
   std::filesystem::remove_all( directory.path() + "/run" );
   static double now;
   now = Zet::now() + 10;
   Zet::clockIs( [] { return now; } );
   settle();
   Zet::clockIs( nullptr );
   EXPECT_TRUE( isReplica( connected() ) ) << "in the place of one that was removed";
   server.reset();
   std::ofstream( path ) << "somebody's";
   serve();
   EXPECT_NE( lines.find( path + " is no socket" ), std::string::npos ) << lines;
   EXPECT_EQ( stat( path.c_str(), &file ), 0 );
}

} // namespace
} // namespace Ufdd
