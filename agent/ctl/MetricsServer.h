#pragma once

#include "agent/base/Descriptor.h"
#include "agent/ctl/HttpExchange.h"
#include "agent/status/Follower.h"

#include <list>
#include <string>
#include <vector>

namespace Ufdd {

// Serves the metrics over HTTP on sockets that somebody else has opened. Nobody can make it wait,
// or use more than a bounded amount of memory.
class MetricsServer {
 public:
   // The number of connections at a time. More of them wait in the sockets' queues.
   static constexpr std::size_t clientLimit = 16;

   // Returns the sockets that the service manager passes to this process.
   // Throws: Failure, with the remedy, when there are none or one is not listening.
   static std::vector< Descriptor > passedSockets();

   // Borrows: follower.
   MetricsServer( Follower& follower, std::vector< Descriptor > listeners );

   // Waits for something to happen, at most until that time of Zet::now(), and handles it.
   void turn( double until );

 private:
   void accept( int listener );
   std::string const& page();

   Follower& follower_;
   std::vector< Descriptor > const listeners_;
   std::list< HttpExchange > exchanges_;
   double acceptAt_ = 0; // By Zet::now(); in the future while no connection can be taken.
   std::string page_;
   bool isOutdated_ = true; // page_ is.
};

} // namespace Ufdd
