#include "agent/Log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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
   std::string got;
   std::string const mark = " lines were lost here: nobody read them\n";
   while ( !got.ends_with( mark ) && got.size() < 64 * lines ) {
      std::array< char, 1 << 16 > text{};
      ssize_t const size = read( ends[ 0 ], text.data(), text.size() );
      got.append( text.data(), static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
      log.flush();
   }
   std::ptrdiff_t const read = std::count( got.begin(), got.end(), '\n' ) - 1;
   ASSERT_TRUE( got.ends_with( std::to_string( lines - read ) + mark ) );
   EXPECT_GT( read, 1000 );
   close( ends[ 0 ] );
   close( ends[ 1 ] );
}

} // namespace
} // namespace Ufdd
