#include "agent/base/EventLoop.h"

#include "platform/zet/Clock.h"
#include "tests/agent/ForkedProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace Ufdd {
namespace {

void
sleepFor( double seconds ) {
   std::this_thread::sleep_for( std::chrono::duration< double >( seconds ) );
}

struct EventLoopTest : testing::Test {
   EventLoopTest() { end.fireAt( Zet::now() + 5 ); }

   void handleA() { fired( "A" ); }
   void handleB() { fired( "B" ); }
   bool handleIdly() {
      add( "idle" );
      return false;
   }
   void handleEnd() {
      add( "end" );
      loop.exit();
   }
   void handleTurnEnd() { log += ";"; }
   void add( char const* name ) { log.append( " " ).append( name ); }
   void fired( std::string const& timer ) {
      add( timer.c_str() );
      if ( timer != last )
         return;
      last.clear();
      endSoon();
   }
   // Ends the loop in a moment, so that handlers which must not run would have the time to.
   void endSoon() { end.fireAt( Zet::now() + 0.05 ); }

   std::string log;
   std::string last; // The timer that fired last, of the two below.
   EventLoop loop;
   EventLoop::Source& a = loop.timer< &EventLoopTest::handleA >( *this );
   EventLoop::Source& b = loop.timer< &EventLoopTest::handleB >( *this );
   EventLoop::Source& idle = loop.timer< &EventLoopTest::handleIdly >( *this );
   EventLoop::Source& end = loop.timer< &EventLoopTest::handleEnd >( *this );
};

TEST_F( EventLoopTest, timersFireOnceInTheOrderOfTheirTimes ) {
   loop.onTurnEnd< &EventLoopTest::handleTurnEnd >( *this );
   double const now = Zet::now();
   // Far apart: on a busy machine, two that are due together fire by their urgency.
   a.fireAt( now + 0.4 );
   b.fireAt( now + 0.01 );
   idle.fireAt( now + 0.2 );
   last = "A";
   loop.run();
   EXPECT_EQ( log, " B; idle A; end" ) << "no turn ends after exit()";
}

TEST_F( EventLoopTest, lastTimeSetCounts ) {
   double const now = Zet::now();
   a.fireAt( now );
   a.fireAt( now + 100 );
   b.fireAt( now + 100 );
   b.fireAt( now - 1 );
   last = "B";
   loop.run();
   EXPECT_EQ( log, " B end" );
}

// A slow handler sets a timer. Its time must not count from when the loop woke up.
TEST_F( EventLoopTest, timersCountFromTheTimeGiven ) {
   struct Sleeper {
      void handle() {
         sleepFor( 0.03 );
         dueAt = Zet::now() + 0.02;
         timer->fireAt( dueAt );
         ++wakings;
      }
      void handleTime() {
         lateness = Zet::now() - dueAt;
         if ( wakings == 1 )
            return self->fireAt( Zet::now() );
         loop.exit();
      }
      EventLoop& loop;
      EventLoop::Source* self = &loop.timer< &Sleeper::handle >( *this );
      EventLoop::Source* timer = &loop.timer< &Sleeper::handleTime >( *this );
      double dueAt = 0;
      double lateness = -1;
      int wakings = 0;
   } sleeper{ loop };
   sleeper.self->fireAt( Zet::now() );
   loop.run();
   EXPECT_EQ( sleeper.wakings, 2 );
   EXPECT_GE( sleeper.lateness, 0 );
}

TEST_F( EventLoopTest, descriptorsCanBeAddedByHandlers ) {
   struct Reader {
      void handle() {
         char byte = 0;
         EXPECT_EQ( read( fd, &byte, 1 ), 1 );
         test.log += byte;
         if ( next )
            test.loop.onReadable< &Reader::handle >( next->fd, *next );
         else
            test.endSoon();
      }
      EventLoopTest& test;
      int fd;
      Reader* next = nullptr;
   };
   SocketPair pair;
   SocketPair other;
   Reader second{ *this, other.far.fd() };
   Reader first{ *this, pair.far.fd(), &second };
   loop.onReadable< &Reader::handle >( first.fd, first );
   ASSERT_EQ( write( other.near.fd(), "2", 1 ), 1 );
   ASSERT_EQ( write( pair.near.fd(), "1", 1 ), 1 );
   loop.run();
   EXPECT_EQ( log, "12 end" );
}

TEST_F( EventLoopTest, readingAtLeisureComesLast ) {
   // Its handler is called again until it reads.
   struct Source {
      void handle() {
         test.add( "usual" );
         char byte = 0;
         if ( ++turns == 3 )
            test.add( read( pair.far.fd(), &byte, 1 ) == 1 ? "last" : "nothing" );
      }
      EventLoopTest& test;
      SocketPair pair = {};
      int turns = 0;
   } usual{ *this };
   SocketPair pair;
   loop.onReadableAtLeisure< &EventLoopTest::handleEnd >( pair.far.fd(), *this );
   loop.onReadable< &Source::handle >( usual.pair.far.fd(), usual );
   for ( Descriptor const* const near : { &pair.near, &usual.pair.near } )
      ASSERT_EQ( write( near->fd(), "x", 1 ), 1 );
   loop.run();
   EXPECT_EQ( log, " usual usual usual last end" );
}

TEST_F( EventLoopTest, runThrowsAHandlersException ) {
   struct Thrower {
      void handle() { throw std::runtime_error( "no way" ); }
   } thrower;
   loop.onTurnEnd< &EventLoopTest::handleTurnEnd >( *this );
   loop.timer< &Thrower::handle >( thrower ).fireAt( Zet::now() );
   EXPECT_THROW( loop.run(), std::runtime_error );
   EXPECT_EQ( log, "" );
}

} // namespace
} // namespace Ufdd
