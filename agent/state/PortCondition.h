#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// What ufdd has done, or has not done, about a port.
enum class PortCondition : std::uint32_t {
   // Nothing asks for the port to be shut.
   open = 0, // ufdd has not shut it. Its link may be down all the same.
   opening,  // It is shut by ufdd, and about to be opened.
   // The port must be shut, and is.
   shut,    // By ufdd, for its groups.
   ordered, // By ufdd, for an order of an operator.
   latched, // By ufdd. Its groups are up, but it stays shut until an operator clears it.
   foreign, // It was administratively down already. Someone else has to set it up.
   // The port must be shut, and is open.
   shutting,   // It is about to be shut.
   failed,     // The act on it failed. It is tried again; see PortState::failure. A port that can't
               // be opened is `failed` as well: then no member of PortState::group is true.
   absent,     // There is no such interface to be shut.
   overridden, // Someone opened it again and again, or an operator cleared it. It is left open
               // until its groups are up.
   isProtected,  // The configuration protects it.
   defaultRoute, // It carries the default route.
   dryRun,       // Only groups in dry run would shut it.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::PortCondition > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "PortCondition";
   static constexpr std::array< char const*, 13 > enumerators{
      "open",   "opening", "shut",       "ordered",   "latched",       "foreign", "shutting",
      "failed", "absent",  "overridden", "protected", "default route", "dry run",
   };
};
