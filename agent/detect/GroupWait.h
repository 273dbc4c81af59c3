#pragma once

#include "agent/base/Never.h"

#include <string>

namespace Ufdd {

// Why a group's ports are left as they are for now.
struct GroupWait {
   enum class Cause {
      none,          // Nothing is waited for: the ports are as the group's state needs them.
      unproven,      // The group may be down only because of uplinks that have never existed.
      startupHold,   // The machine has booted, and the group was not up yet.
      downDelay,     // The group is down, but not for long enough.
      recoveryDelay, // The group is up, but not for long enough.
      releaseWhen,   // The group is up, but routes are missing.
      latched,       // The group is up, but its ports stay shut until an operator clears them.
   };

   Cause cause = Cause::none;
   double until = never; // When it ends if the group does not change before, by Zet::now().
};

// Returns a time for messages: "2.5 s", "86400 s".
std::string secondsText( double seconds );

} // namespace Ufdd
