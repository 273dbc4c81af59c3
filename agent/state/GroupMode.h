#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// Says whether a group acts on its ports. Where several modes would be true, the first of this list
// after `acting` is shown.
enum class GroupMode : std::uint32_t {
   acting = 0,  // Its ports are shut while it is down.
   disabled,    // An operator or the configuration has switched it off: it shuts no port.
   orderedDown, // An operator or the configuration wants its ports shut, whatever its uplinks do.
   dryRun,      // It only logs what it would do.
   startupHold, // After a boot: its ports are left as they are until it was up, or until
                // GroupState::waitTime.
   unproven,    // It would be up if its unproven uplinks were up, so it does not act.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::GroupMode > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "GroupMode";
   static constexpr std::array< char const*, 6 > enumerators{
      "acting", "disabled", "ordered down", "dry run", "startup hold", "unproven",
   };
};
