#include "agent/status/StatusServer.h"
#include "tests/agent/ForkedProcess.h"
#include "tests/agent/Process.h"
#include "tests/agent/StatusReader.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

#include <memory>
#include <poll.h>
#include <random>
#include <string>

namespace Ufdd {
namespace {

using Tests::stateOf;
using UplinkFailureDetection::Status;

constexpr unsigned int rounds = 200;

class NoLog final : public Log {
   void line( std::string_view ) override {}
};

void
change( Status& status, std::minstd_rand& random ) {
   std::string const name = "group" + std::to_string( random() % 100 );
   if ( random() % 8 == 0 ) {
      status.groupDel( name );
      return;
   }
   auto const group = status.groupIs( name );
   group->groupLinkStatusIs(
       static_cast< UplinkFailureDetection::GroupLinkStatus >( random() % 3 ) );
   group->numTimesDisabledInc( 1 );
   group->prevDisabledTimeIs( static_cast< double >( random() ) / 8 );
}

// Changes a Status all the time and serves it. A byte through `control` is answered by the state
// and a zero byte, another has the changes go on.
bool
serve( std::string const& path, Descriptor const& control, unsigned int seed ) {
   NoLog log;
   std::minstd_rand random( seed );
   auto const status = Zet::make< Status >( "status" );
   StatusServer server( path, status, log );
   server.listen();
   for ( bool isPaused = false;; ) {
      std::array< pollfd, 2 > ready{ { { control.fd(), POLLIN, 0 }, { server.fd(), POLLIN, 0 } } };
      poll( ready.data(), ready.size(), isPaused ? 1 : 0 );
      if ( char byte = 0; ready[ 0 ].revents != 0 ) {
         if ( read( control.fd(), &byte, 1 ) != 1 )
            return true;
         isPaused = !isPaused;
         std::string const text = stateOf( *status );
         if ( isPaused )
            send( control.fd(), text.c_str(), text.size() + 1, MSG_NOSIGNAL );
      }
      for ( unsigned int i = 0; !isPaused && i < 20; ++i )
         change( *status, random );
      server.handleReady();
      server.settle();
   }
}

class StatusCrashTest : public testing::Test {
 protected:
   void startServer() {
      control_ = SocketPair();
      server_ = std::make_unique< ForkedProcess >( [ this ] {
         control_.near = Descriptor();
         return serve( path, control_.far, seed );
      } );
      ++seed;
      control_.far = Descriptor();
   }
   void startClient() {
      client_ = std::make_unique< ForkedProcess >( [ this ] {
         for ( StatusReader reader( path );; )
            if ( !reader.waitAndRead( 1 ) )
               reader.connect();
         return true;
      } );
   }
   // Which have run until then.
   void killServer() { EXPECT_EQ( server_->kill(), -SIGKILL ); }
   void killClient() { EXPECT_EQ( client_->kill(), -SIGKILL ); }

   // What the server has, which is not changed until go().
   std::string pausedState() const {
      std::string text;
      char byte = 'p';
      for ( bool more = write( control_.near.fd(), &byte, 1 ) == 1; more; ) {
         more = read( control_.near.fd(), &byte, 1 ) == 1 && byte != '\0';
         if ( more )
            text += byte;
      }
      return text;
   }
   void go() const { ASSERT_EQ( write( control_.near.fd(), "g", 1 ), 1 ); }
   static bool becomes( StatusReader& reader, std::string const& state ) {
      return eventually( [ & ] {
         reader.read();
         return reader.replica.isInStep() && stateOf( *reader.replica.status() ) == state;
      } );
   }

   Directory const directory;
   std::string const path = directory.path() + "/status";
   unsigned int seed = std::random_device()();

 private:
   SocketPair control_;
   std::unique_ptr< ForkedProcess > server_;
   std::unique_ptr< ForkedProcess > client_;
};

// Either side of the socket is killed, wherever it stands; the other one goes on.
TEST_F( StatusCrashTest, survivesTheOtherSidesDeath ) {
   SCOPED_TRACE( "seed " + std::to_string( seed ) );
   std::minstd_rand random( seed );
   startServer();
   StatusReader survivor( path );
   startClient();
   for ( unsigned int round = 0; round < rounds; ++round ) {
      auto const until =
          std::chrono::steady_clock::now() + std::chrono::microseconds( random() % 3000 );
      while ( std::chrono::steady_clock::now() < until )
         survivor.read();
      if ( random() % 2 == 0 ) {
         killClient();
         startClient();
      } else {
         killServer();
         ASSERT_TRUE( eventually( [ & ] { return !survivor.read(); } ) );
         startServer();
      }
      ASSERT_EQ( survivor.replica.error(), "" ) << "in round " << round;
      ASSERT_TRUE( eventually( [ & ] { return survivor.isOpen || survivor.connect(); } ) );
      std::string const state = pausedState();
      ASSERT_TRUE( becomes( survivor, state ) )
          << "in round " << round << ": " << survivor.replica.error();
      StatusReader fresh( path );
      ASSERT_TRUE( becomes( fresh, state ) ) << "in round " << round;
      go();
   }
}

} // namespace
} // namespace Ufdd
