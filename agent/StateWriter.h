#pragma once

#include "agent/checks/UplinkChecks.h"
#include "agent/detect/CarrierWatch.h"
#include "agent/detect/Detector.h"
#include "agent/detect/GroupLog.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/orders/Orders.h"
#include "agent/ports/PortControl.h"
#include "agent/ports/PortResult.h"
#include "agent/state/State.h"

#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// Writes into the State what the agent knows of groups, links, ports and checks, and counts. Looks
// only at those that a message, a transition, a delay or an act concerns.
class StateWriter {
 public:
   // Borrows: all but the state.
   StateWriter( Zet::Ptr< State > state, Detector const& detector, LinkDirectory& links,
                UplinkChecks& checks, CarrierWatch const& carrierWatch, PortControl& portControl,
                Orders const& orders );

   // Makes the State's groups, links and ports those of the detector's configuration. The next
   // write() looks at all of them.
   void configure();
   // Note for write() what has happened. `actedAt` is when the acts were done, by Zet::now().
   void handleTransitions( std::span< GroupLog::Told const > transitions );
   void handleResults( std::span< PortResult const > results, double actedAt );
   void handleTrouble() { ++overruns_; }
   // The next write() looks at all groups and their ports: orders have changed.
   void handleOrders();
   // Call at the end of each turn, after its acts. Returns false if nothing has happened to a
   // group, a link or a port.
   bool write();

 private:
   using Names = std::vector< Zet::Name >;
   using GroupsOf = std::unordered_map< Kelnet::IntfId, Names >;

   void collectDirty();
   void writeLink( Kelnet::IntfId link );
   void writeGroup( Zet::Name const& name );
   void writePort( Kelnet::IntfId port );
   // Writes which groups want the port shut. Returns true if one in dry run does.
   bool writeGroupsOf( Kelnet::IntfId port, PortState& entity ) const;
   void writeChecks();
   void writeCounters();
   void countReaction( double seconds );

   Zet::Ptr< State > const state_;
   Detector const& detector_;
   LinkDirectory& links_;
   UplinkChecks& checks_;
   CarrierWatch const& carrierWatch_;
   PortControl& portControl_;
   Orders const& orders_;
   // The groups that name a link, by the link.
   GroupsOf groupsOfUplink_;
   GroupsOf groupsOfPort_;
   // To be looked at by write(), perhaps more than once.
   std::vector< Kelnet::IntfId > dirtyLinks_;
   Names dirtyGroups_;
   std::vector< Kelnet::IntfId > dirtyPorts_;
   Names waiting_; // The groups whose delay ran at the last write().
   // The ports that no group disables any more, but that were still ours at the last write().
   std::vector< Kelnet::IntfId > leftovers_;
   bool hasGoneDown_ = false; // In this turn, a group that was up went down.
   double now_ = 0;           // When write() began, by Zet::now().
   // See State.
   unsigned int overruns_ = 0;
   unsigned int acts_ = 0;
   unsigned int failedActs_ = 0;
   unsigned int openActs_ = 0;
   unsigned int failedOpenActs_ = 0;
};

} // namespace Ufdd
