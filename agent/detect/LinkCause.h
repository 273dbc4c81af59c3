#pragma once

#include "agent/base/InterfaceName.h"
#include "platform/kelnet/IntfId.h"

#include <string>

namespace Ufdd {

// A change of a link, as the cause of a group's transition.
struct LinkCause {
   enum class Kind { none, up, lostCarrier, adminDown, dormant, removed, renamed };

   Kind kind = Kind::none;
   Kelnet::IntfId link;   // By a name that is watched.
   InterfaceName newName; // Set for `renamed`.

   // "eth1 lost carrier"; empty for `none`.
   std::string text() const;
};

} // namespace Ufdd
