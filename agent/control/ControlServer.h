#pragma once

#include "agent/base/Log.h"
#include "agent/base/ServerSocket.h"
#include "agent/control/ControlClient.h"
#include "agent/control/ControlRequest.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Ufdd {

// A group of those who may steer ufdd, or only report what checks found, beside root.
struct AdminGroup {
   std::string name;
   gid_t id = 0;
};

// Takes requests to steer ufdd over a Unix socket: one a connection, with one reply. Only root and
// the members of two groups may ask. It never waits for a client, and requests are carried out only
// when handleRequest() is called, so that ports are shut first.
class ControlServer {
 public:
   static constexpr std::size_t clientLimit = 8; // The last place is reserved for root.

   struct Settings {
      std::string path;
      std::optional< AdminGroup > admins = {};
      std::optional< AdminGroup > reporters = {}; // They may only report.
   };
   // Borrows: steering, log.
   // Throws: std::system_error, as handleReady() does.
   ControlServer( Settings settings, Steering& steering, Log& log );

   // Lets clients connect from now on. If that fails, or if the socket's file is removed later,
   // logs it; endTurn() tries again.
   void listen() { socket_.listen(); }
   // Readable while handleReady() has something to do.
   int fd() const { return socket_.fd(); }
   // Accepts one new client, and reads what the others have sent.
   void handleReady();
   // Call at the end of each turn, after all detection: carries out one request that has come, if
   // any. Returns true if it has: then act on what it has changed, and call it again.
   bool handleRequest();
   // Call after that: sends what is left of replies, and drops clients that are too slow.
   void endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;

   std::size_t clientCount() const { return clients_.size(); }

 private:
   void accept();
   // Why this client may not steer, or may not even report, with the remedy; empty if it may.
   std::string objectionTo( ControlClient const& client, bool mayReport ) const;
   void checkPatience( ControlClient& client );

   std::optional< AdminGroup > const admins_, reporters_;
   Steering& steering_;
   ServerSocket socket_;
   std::vector< std::unique_ptr< ControlClient > > clients_;
};

// Looks up the group of that name, as for --admin-group and --report-group.
// Throws: std::runtime_error, with the remedy, when there is no such group.
AdminGroup adminGroup( std::string const& name );

} // namespace Ufdd
