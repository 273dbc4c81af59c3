#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// The condition of a link that the configuration names. Only a link that is `up` counts as up.
enum class LinkCondition : std::uint32_t {
   absent = 0, // There is no such interface now, but there was one.
   up,
   noCarrier,   // It is set up, but the layer below does not work.
   setDown,     // It is administratively down, set so by ufdd or by someone else.
   dormant,     // It has carrier, but waits for something else, such as an authentication.
   unproven,    // There has been no interface of that name since the boot; perhaps a wrong name.
   failedCheck, // It is up, but a check of it fails.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::LinkCondition > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "LinkCondition";
   static constexpr std::array< char const*, 7 > enumerators{
      "absent", "up", "no carrier", "set down", "dormant", "unproven", "check failed",
   };
};
