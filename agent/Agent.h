#pragma once

#include "agent/base/Log.h"
#include "agent/base/Troubles.h"
#include "agent/config/ConfigFile.h"
#include "agent/detect/CarrierWatch.h"
#include "agent/detect/Detector.h"
#include "agent/detect/GroupLog.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkSource.h"
#include "agent/ports/OwnedLinkStore.h"
#include "agent/ports/PortControl.h"
#include "agent/ports/PortReport.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// All of the daemon but its ties to the system: detection between a source of link messages and a
// control of links, turn after turn of a loop, whatever these are.
class Agent {
 public:
   static constexpr double never = std::numeric_limits< double >::infinity();

   // Borrows: all.
   Agent( LinkSource& source, LinkControl& control, OwnedLinkStore& store, Log& log );

   // Learns the state of the interfaces, then evaluates the groups, then acts for the first time.
   // Throws: what the source throws; no port has been touched then.
   void start( ConfigFile const& config );
   // Changes to another configuration; groups that stay the same are not touched. If it has errors
   // or no group, logs why and changes nothing. `file` names it in messages.
   void reload( ConfigFile config, std::string const& file );
   // The interval in milliseconds at which to call handleTick(); 0 for not at all.
   std::uint32_t tickMs() const { return carrierWatch_.tickMs(); }
   void handleTick() { carrierWatch_.handleTick(); }
   // Call at the end of each turn of the loop: acts on all that is known and due.
   void endTurn();
   // When to call endTurn() even if nothing happens, by Zet::now(); or never.
   double nextTime() const;
   // Opens every port that was shut. Returns false when one couldn't be.
   bool release();

   LinkDirectory const& links() const { return links_; }
   // The groups' statuses. Never null.
   Zet::Ptr< UplinkFailureDetection::Status > const& status() const { return detector_.status; }
   // A line for each group, with its status and its uplinks.
   std::vector< std::string > statusLines() const;
   // "2 groups, 1 down; ports shut: 3; overridden: d1 d2", and whether the configuration is wrong.
   std::string summary() const;

 private:
   static constexpr double retrySeconds = 1;
   static constexpr double readAgainSeconds = 1;

   void apply( ConfigFile const& config );
   // A new group keeps those of its ports shut that are ours, until its delays have passed.
   void assumeDown( GroupSettings const& group );
   // Acts by the difference, then logs the groups' transitions, then what was done about ports.
   void act();
   void actOnPorts();
   void reportTroubles();

   LinkSource& source_;
   Log& log_;
   Detector detector_;
   LinkDirectory links_;
   CarrierWatch carrierWatch_;
   PortControl ports_;
   PortReport portReport_;
   GroupLog groupLog_;
   Troubles troubles_; // Of the source.

   double startupHold_ = 0;              // As last configured.
   std::optional< double > startupEnd_;  // While ports stay as they are found.
   std::optional< double > retryAt_;     // While an act has failed.
   std::optional< double > readAgainAt_; // While links are being read again.
   std::string remark_;                  // On a configuration that was refused.
};

} // namespace Ufdd
