#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// What an operator has ordered about a group or a port.
enum class OrderKind : std::uint32_t {
   none = 0, // It does as the configuration says.
   disable,  // The group shuts no port.
   down,     // It is shut, whatever the uplinks do.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::OrderKind > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "OrderKind";
   static constexpr std::array< char const*, 3 > enumerators{ "none", "disable", "down" };
};
