#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// Says what a group waits for before it acts. The texts are those of the configuration's keys where
// there is one.
enum class WaitReason : std::uint32_t {
   nothing = 0,
   downDelay,     // It is down; its ports are shut if it stays so.
   recoveryDelay, // It is up; its ports are opened if it stays so.
   releaseWhen,   // It is up for long enough; its ports are opened once there is the route, or when
                  // release_timeout has passed.
   startupHold,   // It is down since the boot; its ports are shut if it stays so.
   unproven,      // It is down only if uplinks that were never there count; no time ends this.
   latched,       // It is up; its ports are opened once an operator clears them.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::WaitReason > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "WaitReason";
   static constexpr std::array< char const*, 7 > enumerators{
      "nothing",      "down_delay", "recovery_delay", "release_when",
      "startup_hold", "unproven",   "latched",
   };
};
