#pragma once

#include "agent/ConfigFile.h"
#include "agent/Detector.h"
#include "agent/GroupLog.h"
#include "agent/LinkControl.h"
#include "agent/LinkDirectory.h"
#include "agent/LinkSource.h"
#include "agent/Log.h"
#include "agent/Ownership.h"
#include "agent/PortHolder.h"

#include <vector>

namespace Ufdd {

// All of the daemon but its ties to the system: detection between a source of link news and a
// control of links, whatever these are.
class Agent {
 public:
   Agent( LinkControl& control, Ownership& ownership, Log& log );

   // Learns how the interfaces are, then evaluates the groups, then acts for the first time.
   // Throws: what the source throws; no port has been touched then.
   void start( std::vector< GroupSettings > const& groups, LinkSource& source );
   // Our bit among the reasons for protodown. Requires: before start().
   void protoDownReasonIs( unsigned int reason ) { holder_.reasonIs( reason ); }
   LinkDirectory const& links() const { return links_; }
   // The end of a loop turn.
   void settle() { holder_.settle(); }
   // Some acts failed and should be tried again, by retry() and the next settle().
   bool hasFailures() const { return holder_.hasFailures(); }
   void retry() { holder_.retry(); }
   // Opens every port that was shut. False when one couldn't be.
   bool release() { return holder_.release(); }

 private:
   Detector detector_;
   LinkDirectory links_;
   PortHolder holder_;
   GroupLog groupLog_;
};

} // namespace Ufdd
