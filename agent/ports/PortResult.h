#pragma once

#include "agent/kernel/LinkControl.h"

namespace Ufdd {

// What came of an act on a port.
struct PortResult {
   // Errors beside the errno values. The kernel reported an act as done, but the link is unchanged:
   static constexpr int notSeen = -1;
   // An act was not tried, because the link is not the one that we shut.
   static constexpr int otherHardware = -2;

   enum class Kind {
      shut,
      shutAgain, // Others had opened it.
      foundDown, // It was administratively down already.
      overridden,
      isProtected,  // It must be shut, but is never shut.
      defaultRoute, // It must be shut, but carries the default route.
      leftAlone,    // It must be shut, but all its groups are left alone, or up again.
      opened,
      openedAnyway, // It must be shut, but is overridden.
      failed        // For answer.error.
   };
   Kind kind;
   LinkRequest answer;
};

} // namespace Ufdd
