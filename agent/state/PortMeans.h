#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// How a port is shut that is ours.
enum class PortMeans : std::uint32_t {
   none = 0,  // The port is not ours.
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
