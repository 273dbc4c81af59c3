#pragma once

#include "agent/detect/BootHistory.h"
#include "agent/detect/GroupWait.h"
#include "model/GroupConfig.h"
#include "platform/interface/EthIntfStatusDir.h"

namespace Ufdd {

// Knows whether there is evidence that a group has failed that is seen down. There is none while
// the group would be up if its unproven uplinks were, which have not existed since the machine
// booted; or until startup_hold has passed since the first ufdd of this boot started, if the group
// was not up yet. An uplink that has existed and is gone is down like any other.
class FailureEvidence {
 public:
   FailureEvidence( Interface::EthIntfStatusDir const& directory, BootHistory const& history )
       : directory_( directory ), history_( history ) {}

   // In seconds.
   void startupHoldIs( double seconds ) { startupHold_ = seconds; }

   struct Finding {
      GroupWait leftAlone; // Why the group is left alone; empty if there is evidence.
      // The finding may change although the group's status does not.
      bool mayChange = false;
   };
   // Returns what is found about a group that is seen down.
   Finding about( UplinkFailureDetection::GroupConfig const& group, double now ) const;

 private:
   Interface::EthIntfStatusDir const& directory_;
   BootHistory const& history_;
   double startupHold_ = 0;
};

} // namespace Ufdd
