#pragma once

#include "agent/base/InterfaceName.h"
#include "platform/kelnet/IntfId.h"

#include <string>

namespace Ufdd {

// A change of an interface, as the reason for what follows from it.
struct LinkNews {
   enum class Kind { none, up, lostCarrier, adminDown, dormant, removed, renamed };

   Kind kind = Kind::none;
   Kelnet::IntfId port;
   InterfaceName newName; // Of one that was renamed.

   // "eth1 lost carrier"; empty for no news.
   std::string text() const;
};

} // namespace Ufdd
