#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Log.h"
#include "agent/base/SocketFile.h"
#include "agent/base/Troubles.h"
#include "agent/status/StatusClient.h"
#include "agent/status/StatusCopy.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// Serves the roots to other processes over a Unix socket, as an attribute log that can only be
// read. It never waits for a client, and no client can disturb another. Only endTurn() sends
// changes, so that ports are shut first.
class StatusServer {
 public:
   static constexpr char const* usualSocket = "/run/ufdd/status";
   // The last place is reserved for root, so that root can always see the status.
   static constexpr std::size_t clientLimit = 32;

   // `unsentLimit` is that of each client; see StatusClient.
   // Throws: std::system_error, as handleReady() does.
   StatusServer( std::string path, StatusRoots roots, Log& log,
                 std::size_t unsentLimit = StatusClient::unsentLimit );

   // Lets clients connect from now on. If that fails, or if the socket's file is removed later,
   // logs it; endTurn() tries again.
   // Throws: std::system_error, with the remedy, if this is the first try and another process
   // serves the path.
   void listen();

   // Readable while handleReady() has something to do.
   int fd() const { return poll_.fd(); }
   // Accepts one new client, and reads what the others have sent.
   void handleReady();
   // Call at the end of each turn: sends the changes, and drops clients that do not read.
   void endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;

   std::vector< std::unique_ptr< StatusClient > > const& clients() const { return clients_; }

 private:
   // In seconds, before clients are accepted again.
   static constexpr double acceptPause = 1;
   // In seconds, between tries to listen, and between checks that the socket's file exists.
   static constexpr double listenPause = 3;

   void accept();
   void refuse( bool isRoot );
   void pauseAccepting( int error );
   void lookAfterSocket();
   void watch( int operation, int fd, std::uint32_t events, StatusClient* client ) const;

   std::string const path_;
   StatusRoots const roots_;
   Log& log_;
   std::size_t const unsentLimit_;
   std::optional< SocketFile > socket_; // Empty while clients can't connect.
   Descriptor poll_;
   std::optional< StatusCopy > copy_; // The clients' source; empty while there are no clients.
   std::vector< std::unique_ptr< StatusClient > > clients_;
   Troubles troubles_; // With clients.
   // The first refusal is logged, then none until a client has gone.
   bool refusalIsTold_ = false;
   // By Zet::now(). Set while no client is accepted: there is no socket, or no free descriptor.
   std::optional< double > listenAgainAt_;
   std::string listenError_; // As last logged; empty while clients can connect.
   double lookAt_ = 0;       // When to check the socket's file, by Zet::now().
};

} // namespace Ufdd
