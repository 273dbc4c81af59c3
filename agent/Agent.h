#pragma once

#include "agent/StateWriter.h"
#include "agent/Steer.h"
#include "agent/base/Log.h"
#include "agent/base/Never.h"
#include "agent/base/Troubles.h"
#include "agent/checks/UplinkChecks.h"
#include "agent/config/ConfigFile.h"
#include "agent/control/ControlRequest.h"
#include "agent/detect/BootStore.h"
#include "agent/detect/CarrierWatch.h"
#include "agent/detect/Detector.h"
#include "agent/detect/GroupLog.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/detect/RouteReadiness.h"
#include "agent/kernel/DefaultRouteLinks.h"
#include "agent/kernel/LinkControl.h"
#include "agent/kernel/LinkSource.h"
#include "agent/kernel/RouteSource.h"
#include "agent/orders/Orders.h"
#include "agent/ports/OwnedLinkStore.h"
#include "agent/ports/PortControl.h"
#include "agent/ports/PortReport.h"
#include "agent/ports/PortSettingsStore.h"
#include "agent/ports/Restoration.h"
#include "agent/status/StatusRoots.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// The daemon without its ties to the system. Detects failures from the messages of any source of
// links, and shuts and opens ports by any control of links.
class Agent final : public Steering {
 public:
   // Borrows: all.
   Agent( LinkSource& source, RouteSource& routes, LinkControl& control, OwnedLinkStore& store,
          PortSettingsStore& settings, BootStore& bootStore, OrderStore& orderStore, Log& log );

   // Has the neighbours of checks asked through this. Borrows: neighbours.
   void neighboursAre( Neighbours& neighbours ) { checks_.neighboursAre( neighbours ); }

   // Reads the state of all links, then evaluates the groups, then acts for the first time.
   // Throws: whatever the source throws. No port has been touched then.
   void start( ConfigFile const& config );
   // Changes to another configuration. Unchanged groups are not touched. If the configuration has
   // errors or no group, logs why, changes nothing and returns false. `file` names it in the log.
   bool reload( ConfigFile config, std::string const& file );
   // While a former configuration may come back, orders and latches are kept that only that one
   // may name. Once it may not, those are dropped that the present one does not name.
   void formerMayReturnIs( bool mayReturn );
   // Carries out what the request orders about groups and ports, and acts on it at once. Refuses
   // requests about the configuration.
   ControlReply handle( ControlRequest const& request ) override;
   // Tells the State and summary() that the configuration file is not in force: why, and a remark
   // for the summary that begins with "; ".
   void handleNotInForce( std::string const& why, std::string remark );
   // The interval in milliseconds at which to call handleTick(); 0 for not at all.
   std::uint32_t tickMs() const { return carrierWatch_.tickMs(); }
   // Returns false if nothing has come of it, so that the turn needs no end.
   bool handleTick() { return carrierWatch_.handleTick() || readAgainAt_; }
   // Call at the end of each turn: acts on all messages so far, and on delays that have passed.
   void endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now().
   double nextTime() const;
   // Call every few seconds: writes the records again that were removed.
   void checkRecord() {
      portControl_.checkRecord();
      detector_.history().checkRecord();
      restoration_.checkRecord();
      orders_.checkRecord();
   }
   // Returns true if a former process may have left ports shut that no readable record names.
   bool hasUnreadRecord() const { return portControl_.hasUnreadRecord(); }
   // Opens every port that is ours. Returns false if one can't be opened.
   bool openAll();
   // Puts back what ports lost while they were ours, and records what is still to be put back. Call
   // when the daemon stops. Returns false if more can be put back later; with `isLast`, names that
   // in the log.
   bool restoreAll( bool isLast );

   LinkDirectory const& links() const { return links_; }
   Detector const& detector() const { return detector_; }
   // The entities that clients follow. None is ever null.
   StatusRoots roots() const { return { detector_.config, detector_.status, state_ }; }
   // Returns a line for each group, as stateLines() does.
   std::vector< std::string > statusLines() const;
   // Returns one line for all, as summaryLine() does.
   std::string summary() const;
   // Returns true if these lines may have changed since the last call.
   bool takeNews() { return std::exchange( hasNews_, false ); }

 private:
   static constexpr double retrySeconds = 1;
   static constexpr double readAgainSeconds = 1;
   static constexpr double routePatience = 2; // In seconds.

   void logWarnings( ConfigFile const& config );
   // Tells the State that the configuration is in force.
   void handleConfigured( ConfigFile const& config );
   void watchUplinks( ConfigFile const& config );
   // Keeps the ports of a new group shut if they are latched, or ours for no order, until the
   // group's delays have passed.
   void assumeDown( GroupSettings const& group, ConfigFile const& config );
   ControlReply report( ControlRequest const& request );
   // Records what the checks count as now. Call before acts that follow from that.
   void recordHistory();
   bool isOrderedDown( Kelnet::IntfId port, ConfigFile const& config ) const;
   void recallOrders( ConfigFile const& config );
   // Drops the orders and latches of groups and ports that the configuration does not name, unless
   // a former one may come back.
   void dropOrders();
   // Has the decisions follow the orders.
   void followOrders();
   // Ends the orders whose time is over.
   void endOrders();
   // Asks for the state of all uplinks before ports are opened that must be shut only for an order.
   // Returns false if the answers do not count, since all links are read again.
   bool isSureOfUplinks();
   // Moves the ports as decided, once the latches are recorded. Every act of a turn is done here.
   void carryOut();
   // Acts on ports, then logs the groups' transitions, then the acts.
   void act();
   void actOnPorts();
   // Opens the ports of groups that are still up once their uplinks were queried. The kernel may
   // have delayed the message that an uplink is down again. Not while all links are read again: the
   // answers would not count.
   void open();
   // Has the source deliver the state of these uplinks at this moment.
   void query( std::span< Kelnet::IntfId const > uplinks );
   // Returns true while no port is touched, since the routes are not known yet.
   bool awaitsRoutes();
   // Has the routes followed that the groups need.
   void followRoutes( ConfigFile const& config );
   // Takes in changes of routes and links. Returns true if there were some.
   bool updateRoutes();
   void reportTroubles();

   LinkSource& source_;
   RouteSource& routes_;
   Log& log_;
   Detector detector_;
   Orders orders_;
   Zet::Ptr< State > const state_ = Zet::make< State >( "state" );
   LinkDirectory links_;
   UplinkChecks checks_;
   DefaultRouteLinks defaultRoutes_;
   RouteReadiness readiness_;
   CarrierWatch carrierWatch_;
   PortControl portControl_;
   Restoration restoration_;
   PortReport portReport_;
   GroupLog groupLog_;
   StateWriter stateWriter_;
   Steer steer_;
   Troubles troubles_; // With the source.

   std::vector< Kelnet::IntfId > uplinks_; // As configured.
   // As of the last updateRoutes().
   std::uint64_t routesVersion_ = 0;
   std::uint64_t linksShape_ = 0;

   bool haveOrders_ = false;
   bool mayFormerReturn_ = false;
   double startupHold_ = 0; // In seconds, as last configured.
   // By Zet::now().
   std::optional< double > routesBy_;    // Set while the routes are read for the first time.
   std::optional< double > retryAt_;     // Set while an act has failed.
   std::optional< double > readAgainAt_; // Set while all links are read again.
   std::string remark_;                  // For summary(); set if the file is not in force.
   bool hasNews_ = true;                 // See takeNews().
};

} // namespace Ufdd
