#pragma once

#include "agent/base/Never.h"
#include "agent/state/WaitReason.h"

#include <optional>

namespace Ufdd {

// Why a group's ports are left as they are for now.
struct GroupWait {
   WaitReason reason = WaitReason::nothing;
   double until = never; // When it ends if the group does not change before, by Zet::now().
   // The delay is over: the group is decided to be up once its uplinks have been queried.
   bool isOpening = false;
   // Set while the log says that a delay runs: since when the group was as it says.
   std::optional< double > toldSince = {};

   // Returns true if there is no evidence that the group has failed.
   bool isLeftAlone() const {
      return reason == WaitReason::unproven || reason == WaitReason::startupHold;
   }
};

} // namespace Ufdd
