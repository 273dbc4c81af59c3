#pragma once

#include "agent/base/Log.h"
#include "agent/config/GroupSettings.h"
#include "agent/detect/Detector.h"
#include "agent/detect/GroupLog.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/detect/PreludedLog.h"
#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkSource.h"
#include "agent/ports/OwnedLinkStore.h"
#include "agent/ports/PortControl.h"

#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// All of the daemon but its ties to the system: detection between a source of link news and a
// control of links, whatever these are.
class Agent {
 public:
   Agent( LinkControl& control, OwnedLinkStore& store, Log& log );

   // Learns how the interfaces are, then evaluates the groups, then acts for the first time.
   // Throws: what the source throws; no port has been touched then.
   // For `startupHold` seconds, ports stay as they are found.
   void start( std::vector< GroupSettings > const& groups, LinkSource& source,
               double startupHold = 0 );
   // Other groups, or the same ones changed. What is the same sees nothing of it.
   Detector::Difference reload( std::vector< GroupSettings > const& groups );
   // Our bit among the reasons for protodown, of the ports that are shut from now on.
   void protoDownReasonIs( unsigned int reason ) { ports_.reasonIs( reason ); }
   LinkDirectory const& links() const { return links_; }
   // What became of the groups. Never null.
   Zet::Ptr< UplinkFailureDetection::Status > const& status() const { return detector_.status; }
   // The end of a loop turn.
   void settle();
   // When there is more to settle, by Zet::now(), if nothing happens before: a delay is over, or it
   // is time to try again what failed.
   std::optional< double > nextTime() const;
   // Opens every port that was shut. False when one couldn't be.
   bool release() { return ports_.release(); }

   // A line for each group, with all that its status tells and how its uplinks are.
   std::vector< std::string > statusLines() const;
   // "2 groups, 1 down; ports shut: 3; overridden: d1 d2"
   std::string summary() const;

 private:
   static constexpr double retrySeconds = 1;

   // The ports that the groups name.
   static std::vector< Kelnet::IntfId > portsOf( std::vector< GroupSettings > const& groups );

   // What is held of the ports of a new group stays so, whatever its delays.
   void assumeHeld( GroupSettings const& group );
   void settlePorts();

   PreludedLog log_;
   Detector detector_;
   LinkDirectory links_;
   PortControl ports_;
   GroupLog groupLog_;
   std::optional< double > startupEnd_; // While ports stay as they are found.
   std::optional< double > retryTime_;  // While something has failed.
};

} // namespace Ufdd
