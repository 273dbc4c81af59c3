#include "agent/detect/GroupWait.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Ufdd {

std::string
GroupWait::text( double now ) const {
   // In the order of Cause.
   static constexpr std::array names{ "",           "unproven uplinks", "startup_hold",
                                      "down_delay", "recovery_delay",   "release_when" };
   std::string const name = names.at( static_cast< std::size_t >( cause ) );
   return until == noEnd ? name
                         : name + ", " + secondsText( std::max( 0.0, until - now ) ) + " left";
}

std::string
secondsText( double seconds ) {
   std::array< char, 32 > text;
   std::snprintf( text.data(), text.size(), seconds < 100 ? "%.3g s" : "%.0f s", seconds );
   return text.data();
}

} // namespace Ufdd
