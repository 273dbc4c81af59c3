#include "agent/base/WallTime.h"

#include "platform/zet/Clock.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace Ufdd {

namespace {

std::string
written( double wall, tm* ( *split )(time_t const*, tm*), char const* format, char const* ending ) {
   auto const milliseconds = static_cast< long long >( std::floor( wall * 1000 ) );
   time_t const seconds = milliseconds / 1000;
   tm parts{};
   split( &seconds, &parts );
   std::array< char, 48 > text{};
   std::size_t const size = std::strftime( text.data(), text.size(), format, &parts );
   std::snprintf( text.data() + size, text.size() - size, ".%03d%s",
                  static_cast< int >( milliseconds % 1000 ), ending );
   return text.data();
}

} // namespace

double
wallNow() {
   return std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
       .count();
}

std::string
localTime( double wall ) {
   return written( wall, localtime_r, "%F %T", "" );
}

std::string
utcTime( double wall ) {
   return written( wall, gmtime_r, "%FT%T", "Z" );
}

std::string
secondsText( double seconds ) {
   std::array< char, 32 > text{};
   std::snprintf( text.data(), text.size(), seconds < 100 ? "%.3g s" : "%.0f s", seconds );
   return text.data();
}

Moment
Moment::now() {
   return { Zet::now(), wallNow() };
}

} // namespace Ufdd
