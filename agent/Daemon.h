#pragma once

#include "agent/Agent.h"
#include "agent/Configurator.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Log.h"
#include "agent/base/ServiceManager.h"
#include "agent/base/StateDirectory.h"
#include "agent/base/Ticker.h"
#include "agent/config/ConfigFile.h"
#include "agent/control/ControlServer.h"
#include "agent/detect/BootFile.h"
#include "agent/kernel/NetlinkLinkControl.h"
#include "agent/kernel/NetlinkLinkSource.h"
#include "agent/kernel/NetlinkNeighbours.h"
#include "agent/kernel/NetlinkRouteSource.h"
#include "agent/orders/OrderFile.h"
#include "agent/ports/OwnedLinkFile.h"
#include "agent/ports/PortClaims.h"
#include "agent/ports/PortSettingsFile.h"
#include "agent/status/StatusServer.h"

#include <optional>
#include <string>

namespace Ufdd {

// The settings from the command line.
struct DaemonOptions {
   std::string configFile;                                    // Read again on SIGHUP.
   std::string stateDirectory = StateDirectory::usualPath;    // For the next ufdd.
   int receiveBuffer = NetlinkLinkSource::usualReceiveBuffer; // For link messages, in bytes.
   std::string version = {};                                  // Of ufdd: "0.1.0".
   std::string revision = {};                                 // Of the build; see State.
   std::string socket = StatusServer::usualSocket;            // Path, to serve the status.
   // Path, to take requests; if empty, controlSocketBeside() the status socket.
   std::string controlSocket = {};
   std::optional< AdminGroup > admins = {};    // They may steer, as root may.
   std::optional< AdminGroup > reporters = {}; // They may only report what checks found.
};

// The process: the agent on the links of the kernel. It reacts to signals:
// SIGTERM, SIGINT  stop, and open every port that is ours, unless the host is shutting down
// SIGUSR1          stop, and leave the ports as they are for the next ufdd
// SIGHUP           read the configuration again
// SIGUSR2          write the status of the groups to the log
class Daemon final : private Steering {
 public:
   // Borrows: log.
   // Throws: std::runtime_error, whose text is for the user, as run() and release() do.
   Daemon( DaemonOptions const& options, BufferedLog& log );
   ~Daemon();

   // Runs until a signal ends it. SIGTERM and SIGINT open every port that is ours first, unless the
   // host is shutting down. Returns false if one can't be opened.
   // Throws: after it has opened every port that is ours. Under a service manager it leaves the
   // ports as they are: that starts the next ufdd, or has release() called.
   bool run( FirstConfig const& first );
   // Opens the ports that a former ufdd left shut: those in its record, and those with the reason
   // of the configuration file, if one was given. Returns false if one can't be opened, or if a
   // record can't be read: the log names the ports that it may mean.
   bool release();

 private:
   // Opens every port that is ours, and retries for some seconds. Returns false if one stays shut.
   bool openPorts();
   // Puts back what ports lost while they were shut, and retries for some seconds.
   void restorePorts();
   void waitToRetry();
   void handleTurnEnd();
   // Writes into the State the counts that the agent does not know.
   void writeCounts();
   // Tells the service manager of the summary, if it may have changed.
   void tellSummary();
   void wakeAt( double time );
   // Begins a turn, whose end does what is due.
   void handleWakeTime() { wakeTime_ = never; }
   bool handleTick();
   void handleWatchdogTime();
   void handleRecordTime();
   void handleStop();
   // Returns true if a service manager is there and says so.
   bool isHostStopping();
   void leave( std::string const& why );
   void handleLeave();
   void handleReload();
   void handleStatus();
   ControlReply handle( ControlRequest const& request ) override;

   DaemonOptions const options_;
   BufferedLog& log_;
   StateDirectory stateDirectory_;
   OwnedLinkFile store_;
   BootFile bootStore_;
   OrderFile orderStore_;
   PortClaims claims_;
   PortSettingsFile settings_;
   EventLoop loop_;
   ServiceManager manager_;
   NetlinkLinkControl control_;
   NetlinkLinkSource source_;
   NetlinkRouteSource routes_;
   NetlinkNeighbours neighbours_;
   Agent agent_;
   Configurator configurator_;
   StatusServer statusServer_;
   ControlServer controlServer_;
   Ticker ticker_; // Calls handleTick().
   EventLoop::Source& wakeTimer_;
   double wakeTime_ = never; // When wakeTimer_ fires, by Zet::now().
   EventLoop::Source& watchdogTimer_;
   EventLoop::Source& recordTimer_;
   bool isAliveDue_ = false; // The next end of a turn tells the service manager that we live.
   decltype( BufferedLog::Counts::lines ) logLines_{}; // As last written into the State.
   bool isLeaving_ = false;                            // The ports stay as they are.
   bool isSummaryOld_ = false;
   double summaryTime_ = 0; // When the next summary may be told, by Zet::now().
};

} // namespace Ufdd
