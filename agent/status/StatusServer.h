#pragma once

#include "agent/base/Log.h"
#include "agent/base/ServerSocket.h"
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
   // The last place is reserved for root, so that root can always see the status. Clients that
   // never read cost a turn less than a microsecond each, 300 kB of memory, and their place for
   // StatusClient::patience seconds.
   static constexpr std::size_t clientLimit = 65;

   // `unsentLimit` is that of each client; see StatusClient.
   // Throws: std::system_error, as handleReady() does.
   StatusServer( std::string path, StatusRoots roots, Log& log,
                 std::size_t unsentLimit = StatusClient::unsentLimit );

   // Lets clients connect, as ServerSocket::listen() does.
   void listen() { socket_.listen(); }

   // Readable while handleReady() has something to do.
   int fd() const { return socket_.fd(); }
   // Accepts one new client, and reads what the others have sent.
   void handleReady();
   // Call at the end of each turn: sends the changes, and drops clients that do not read.
   void endTurn();
   // Returns when to call endTurn() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;

   std::vector< std::unique_ptr< StatusClient > > const& clients() const { return clients_; }
   // Returns the number of clients whose connection has not ended.
   unsigned int clientCount() const;

 private:
   void accept();

   StatusRoots const roots_;
   std::size_t const unsentLimit_;
   ServerSocket socket_;
   std::optional< StatusCopy > copy_; // The clients' source; empty while there are no clients.
   std::vector< std::unique_ptr< StatusClient > > clients_;
};

} // namespace Ufdd
