#pragma once

#include "agent/Agent.h"
#include "agent/base/EventLoop.h"
#include "agent/base/Log.h"
#include "agent/base/ServiceManager.h"
#include "agent/base/Ticker.h"
#include "agent/config/ConfigFile.h"
#include "agent/kernel/NetlinkLinkControl.h"
#include "agent/kernel/NetlinkLinkSource.h"
#include "agent/ports/OwnedLinkFile.h"
#include "agent/status/StatusServer.h"

#include <string>

namespace Ufdd {

// How the process runs, whatever it is configured to do.
struct DaemonOptions {
   std::string configFile; // To read again when asked to.
   std::string stateDirectory = OwnedLinkFile::usualDirectory;
   int receiveBuffer = NetlinkLinkSource::usualReceiveBuffer; // For news of links, in bytes.
   std::string socket = StatusServer::usualSocket;
};

// The process: the agent on the interfaces of the kernel. Signals tell it what to do:
// SIGTERM, SIGINT  stop, and open every port that was shut
// SIGUSR1          make room for the next ufdd: stop, and leave the ports as they are
// SIGHUP           read the configuration again
// SIGUSR2          write the status of the groups to the log
class Daemon {
 public:
   // Throws: std::system_error, as run() does; its text is for the user.
   Daemon( DaemonOptions const& options, BufferedLog& log );
   ~Daemon();

   // Returns when a signal asked for the end. Unless that was to make room, every port that was
   // shut has been opened. False when one couldn't be.
   // Throws: with every port opened as well; or, under a service manager, which starts it again or
   // has release() called, with the ports as they are.
   bool run( ConfigFile const& config );
   // Only opens the ports that a former ufdd left shut: those that are remembered, and those with
   // the mark that the configuration file says, if there is one. False when one couldn't be.
   bool release();

 private:
   // For some seconds, what fails is tried again.
   bool openPorts();
   void handleTurnEnd();
   void wakeAt( double time );
   // It is time for what was put off; the end of the turn does it.
   void handleWakeTime() { wakeTime_ = Agent::never; }
   void handleTick();
   void handleWatchdogTime();
   void handleStop();
   void handleLeave();
   void handleReload();
   void handleStatus();

   DaemonOptions const options_;
   BufferedLog& log_;
   OwnedLinkFile store_;
   EventLoop loop_;
   ServiceManager manager_;
   NetlinkLinkControl control_;
   NetlinkLinkSource source_;
   Agent agent_;
   StatusServer statusServer_;
   Ticker ticker_; // Calls Agent::handleTick().
   EventLoop::Source& wakeTimer_;
   double wakeTime_ = Agent::never; // That the timer is set to.
   EventLoop::Source& watchdogTimer_;
   bool isAliveDue_ = false;
   bool isLeaving_ = false;
};

} // namespace Ufdd
