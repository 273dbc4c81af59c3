#include "agent/base/Log.h"

#include "agent/base/JournalLog.h"
#include "tests/agent/DatagramInbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace Ufdd {
namespace {

TEST( StreamLog, doesNotWaitForAReaderThatIsStuck ) {
   constexpr std::ptrdiff_t lines = 4000;
   std::array< int, 2 > ends{};
   ASSERT_EQ( pipe2( ends.data(), O_CLOEXEC ), 0 );
   StreamLog log( ends[ 1 ], false );
   for ( int i = 0; i < lines; ++i ) {
      log.line( std::string( 63, 'x' ) );
      log.flush();
   }
   EXPECT_FALSE( log.flush() );
   std::string got;
   std::string const mark = " lines were lost here: nobody read them in time\n";
   while ( !got.ends_with( mark ) && got.size() < 64 * lines ) {
      std::array< char, 1 << 16 > text{};
      ssize_t const size = read( ends[ 0 ], text.data(), text.size() );
      got.append( text.data(), static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
      log.flush();
   }
   std::ptrdiff_t const read = std::count( got.begin(), got.end(), '\n' ) - 1;
   ASSERT_TRUE( got.ends_with( std::to_string( lines - read ) + mark ) );
   EXPECT_EQ( log.counts().dropped, lines - read );
   EXPECT_GT( read, 1000 );
   close( ends[ 0 ] );
   close( ends[ 1 ] );
}

TEST( StreamLog, losesNoLineOfALongTurn ) {
   constexpr std::size_t lines = 4000;
   std::FILE* const file = std::tmpfile();
   StreamLog log( fileno( file ), false );
   for ( std::size_t i = 0; i < lines; ++i )
      log.line( std::string( 63, 'x' ) );
   EXPECT_TRUE( log.flush() );
   EXPECT_EQ( lseek( fileno( file ), 0, SEEK_CUR ), 64 * lines );
   std::fclose( file );
}

// A name of an interface may have bytes that command the reader's terminal.
TEST( StreamLog, writesNoControlBytes ) {
   std::array< int, 2 > ends{};
   ASSERT_EQ( pipe2( ends.data(), O_CLOEXEC ), 0 );
   StreamLog log( ends[ 1 ], false );
   log.line(
       "a\x1b["
       "2J\n\x7f\xc2\x9b\x9b\xc3\xa9\xe2\x82\xac\xf0\x9f\x94\x8c\xed\xa0\x80\xc0\xaf\xe2\x82" );
   log.flush();
   std::array< char, 256 > text{};
   ssize_t const size = read( ends[ 0 ], text.data(), text.size() );
   EXPECT_EQ(
       std::string( text.data(), static_cast< std::size_t >( std::max( size, ssize_t() ) ) ),
       "a\\x1b[2J\\x0a\\x7f\\xc2\\x9b\\x9b\xc3\xa9\xe2\x82\xac\xf0\x9f\x94\x8c\\xed\\xa0\\x80"
       "\\xc0\\xaf\\xe2\\x82\n" );
   close( ends[ 0 ] );
   close( ends[ 1 ] );
}

TEST( JournalLog, sendsFieldsAndWaitsForNobody ) {
   std::string path;
   {
      DatagramInbox const inbox;
      path = inbox.path();
      JournalLog log( path );
      log.event( { .id = LogEvent::portShut, .groups = { "a b", "c" }, .port = "d1" },
                 "port d1 shut:\nUFD_GROUP=no" );
      log.event( { .id = LogEvent::groupTransition, .groups = { "a" } }, "group" );
      log.event( { .id = LogEvent::fault }, "why it ended" );
      log.line( "plain" );
      log.flush();
      EXPECT_EQ( inbox.next(), "SYSLOG_IDENTIFIER=ufdd\nMESSAGE=port d1 shut:\\x0aUFD_GROUP=no\n"
                               "PRIORITY=4\nMESSAGE_ID=9b3d7e5f2a1c4d8e8f6a0b4c7d2e1935\n"
                               "UFD_GROUP=a b\nUFD_GROUP=c\nUFD_PORT=d1\n" );
      EXPECT_TRUE( inbox.receives( "UFD_GROUP=a\n" ) );
      EXPECT_TRUE( inbox.receives( "PRIORITY=3\nMESSAGE_ID=" ) );
      EXPECT_EQ( inbox.next(), "SYSLOG_IDENTIFIER=ufdd\nMESSAGE=plain\nPRIORITY=6\n" );
      EXPECT_EQ( log.counts().lines, ( std::array< unsigned int, 8 >{ 0, 0, 0, 1, 1, 1, 1, 0 } ) );
      constexpr unsigned long lines = 3000;
      // No line of a long turn is lost.
      for ( unsigned long i = 0; i < lines; ++i )
         log.line( "long" );
      for ( unsigned long i = 0; i < lines; ++i ) {
         log.flush();
         ASSERT_TRUE( inbox.receives( "MESSAGE=long\n" ) ) << i;
      }
      // A journal that is stuck for a while.
      for ( unsigned long i = 0; i < lines; ++i ) {
         log.line( "x" );
         log.flush();
      }
      unsigned long got = 0;
      unsigned long lost = 0;
      while ( auto const message = inbox.next( 0 ) ) {
         std::size_t const at = message->find( " lines were lost here" );
         std::size_t const begin = message->find( "MESSAGE=" ) + 8;
         if ( at == std::string::npos )
            ++got;
         else
            lost = std::stoul( message->substr( begin, at - begin ) );
         log.flush();
      }
      EXPECT_GT( got, 100u );
      EXPECT_GT( lost, 100u );
      EXPECT_EQ( got + lost, lines );
      EXPECT_EQ( log.counts().dropped, lost );
   }
   JournalLog orphan( path );
   orphan.line( "to nobody" );
   orphan.flush();
}

} // namespace
} // namespace Ufdd
