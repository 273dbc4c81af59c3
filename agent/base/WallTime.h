#pragma once

#include <string>

namespace Ufdd {

// Seconds since the epoch.
double wallNow();
// "2026-03-01 12:30:00.123", here.
std::string localTime( double wall );
// "2026-03-01T11:30:00.123Z"
std::string utcTime( double wall );

// One moment on the two clocks: that of Zet::now(), which never steps, and the wall's.
struct Moment {
   static Moment now();
   // The wall's time at another time of the clock that never steps.
   double wallAt( double time ) const { return wall - ( steady - time ); }

   double steady = 0;
   double wall = 0;
};

} // namespace Ufdd
