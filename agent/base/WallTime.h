#pragma once

#include <string>

namespace Ufdd {

// Returns the wall time in seconds since the epoch.
double wallNow();
// "2026-03-01 12:30:00.123", in the local time zone.
std::string localTime( double wall );
// "2026-03-01T11:30:00.123Z"
std::string utcTime( double wall );
// "2.5 s", "86400 s": how long something lasts.
std::string secondsText( double seconds );

// One moment in seconds on two clocks: that of Zet::now(), which never steps, and the wall clock.
struct Moment {
   static Moment now();
   // Converts a time of Zet::now() to wall time.
   double wallAt( double time ) const { return wall - ( steady - time ); }

   double steady = 0;
   double wall = 0;
};

} // namespace Ufdd
