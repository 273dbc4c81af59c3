#pragma once

#include "agent/config/GroupSettings.h"
#include "agent/orders/Order.h"

#include <optional>

namespace Ufdd {

// What a group does about its ports, apart from the state of its uplinks.
enum class GroupStance {
   acting,   // Its ports are shut while it is down.
   disabled, // It shuts no port.
   down,     // Its ports are shut.
   dryRun,   // It only logs what it would do.
};

// An order of an operator wins over the configuration.
inline GroupStance
stanceOf( GroupPolicy const& policy, std::optional< Order::Kind > order ) {
   if ( order )
      return *order == Order::Kind::disable ? GroupStance::disabled : GroupStance::down;
   if ( !policy.enabled )
      return GroupStance::disabled;
   if ( policy.dryRun )
      return GroupStance::dryRun;
   return policy.forceDown ? GroupStance::down : GroupStance::acting;
}

} // namespace Ufdd
