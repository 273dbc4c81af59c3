#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// How ufdd holds a port that it has shut.
enum class PortMeans : std::uint32_t {
   none = 0,  // It holds nothing of the port.
   protodown, // The kernel keeps the port without carrier for a reason that is ours.
   down,      // The port is set administratively down.
   members,   // The port is a LAG, and its members are shut by one of the two means above.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::PortMeans > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "PortMeans";
   static constexpr std::array< char const*, 4 > enumerators{ "none", "protodown", "down",
                                                              "members" };
};
