#include "agent/base/PollUntil.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cmath>

namespace Ufdd {

void
pollUntil( std::span< pollfd > watched, double time ) {
   // Rounded up, so that the time has come when nothing else has.
   double const milliseconds = std::clamp( std::ceil( ( time - Zet::now() ) * 1000 ), 0.0, 6e4 );
   if ( poll( watched.data(), watched.size(), static_cast< int >( milliseconds ) ) <= 0 )
      for ( pollfd& each : watched )
         each.revents = 0;
}

} // namespace Ufdd
