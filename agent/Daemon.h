#pragma once

#include "agent/Agent.h"
#include "agent/CarrierWatch.h"
#include "agent/ConfigFile.h"
#include "agent/EventLoop.h"
#include "agent/Log.h"
#include "agent/NetlinkLinkControl.h"
#include "agent/NetlinkLinkSource.h"
#include "agent/OwnershipFile.h"

#include <string>

namespace Ufdd {

// How the process runs, whatever it is configured to do.
struct DaemonOptions {
   std::string stateDirectory = OwnershipFile::usualDirectory;
   int receiveBuffer = NetlinkLinkSource::usualReceiveBuffer; // For news of links, in bytes.
};

// The process: the agent on the interfaces of the kernel, until SIGTERM, SIGINT or SIGHUP.
class Daemon {
 public:
   // Throws: std::system_error, as run() does; its text is for the user.
   Daemon( DaemonOptions const& options, StreamLog& log );
   ~Daemon();

   // Returns when a signal asked for the end, and however it ends, every port that was shut has
   // been opened. False when one couldn't be.
   bool run( ConfigFile const& config );

 private:
   void handleTurnEnd();
   void handleRetryTime();
   void handleSignal();

   StreamLog& log_;
   OwnershipFile ownership_;
   EventLoop loop_;
   NetlinkLinkControl control_;
   NetlinkLinkSource source_;
   Agent agent_;
   CarrierWatch carrierWatch_;
   EventLoop::Source& retryTimer_;
   bool retryTimerOn_ = false;
};

} // namespace Ufdd
