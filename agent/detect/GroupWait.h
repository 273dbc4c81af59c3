#pragma once

#include "agent/base/Never.h"
#include "agent/state/WaitReason.h"

#include <string>

namespace Ufdd {

// Why a group's ports are left as they are for now.
struct GroupWait {
   WaitReason reason = WaitReason::nothing;
   double until = never; // When it ends if the group does not change before, by Zet::now().
};

// Returns a time for messages: "2.5 s", "86400 s".
std::string secondsText( double seconds );

} // namespace Ufdd
