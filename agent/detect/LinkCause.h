#pragma once

#include "agent/base/InterfaceName.h"
#include "agent/state/LinkCondition.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/String8.h"

#include <string>

namespace Ufdd {

// A change of a link, as the cause of a group's transition.
struct LinkCause {
   Kelnet::IntfId link; // By a name that is watched; empty for no cause.
   LinkCondition condition = LinkCondition::absent; // Of that name since the change.
   InterfaceName newName;                           // Set if the link was renamed.
   Zet::String8 failure = {}; // Set for `failedCheck`: "check bfd failed: Down, 3 in a row".

   bool isNone() const { return link == Kelnet::IntfId(); }
   // "eth1 lost carrier"; empty for none.
   std::string text() const;
};

} // namespace Ufdd
