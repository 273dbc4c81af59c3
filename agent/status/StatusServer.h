#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Log.h"
#include "agent/base/SocketFile.h"
#include "agent/base/Troubles.h"
#include "agent/status/StatusClient.h"
#include "agent/status/StatusCopy.h"
#include "model/Status.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// Serves the Status to other processes over a Unix socket, as an attribute log that can only be
// read. No client is ever waited for, and none can hurt another. They are told of changes by
// endTurn() alone, so that ports are shut first.
class StatusServer {
 public:
   static constexpr char const* usualSocket = "/run/ufdd/status";
   // The last place is root's, who can see the status however many others want to.
   static constexpr std::size_t clientLimit = 32;

   // `unsentLimit` is that of each client. Throws: std::system_error, as handleReady() does.
   StatusServer( std::string path, Zet::Ptr< UplinkFailureDetection::Status > status, Log& log,
                 std::size_t unsentLimit = StatusClient::unsentLimit );

   // Clients can come from now on. When that fails, or the socket's file is removed later, it is
   // told, and endTurn() tries again.
   // Throws: std::system_error, with the remedy, the first time and when somebody serves the path.
   void listen();

   // Readable while handleReady() has something to do.
   int fd() const { return poll_.fd(); }
   // Takes one new client, and what clients have sent.
   void handleReady();
   // The end of a loop turn: sends what is new, and drops who doesn't read.
   void endTurn();
   // When, by Zet::now(), endTurn() has to be called, though nothing else happens.
   std::optional< double > nextTime() const;

   std::vector< std::unique_ptr< StatusClient > > const& clients() const { return clients_; }

 private:
   static constexpr double acceptPause = 1;
   static constexpr double listenPause = 3; // Between looks at the file of the socket, too.

   void accept();
   void refuse( bool isRoot );
   void pauseAccepting( int error );
   void lookAfterSocket();
   void watch( int operation, int fd, std::uint32_t events, StatusClient* client ) const;

   std::string const path_;
   Zet::Ptr< UplinkFailureDetection::Status > status_;
   Log& log_;
   std::size_t const unsentLimit_;
   std::optional< SocketFile > socket_; // While clients can connect.
   Descriptor poll_;
   std::optional< StatusCopy > copy_; // That clients are told of, while there are any.
   std::vector< std::unique_ptr< StatusClient > > clients_;
   Troubles troubles_; // With clients.
   // Refusals are told of once, until a client has gone.
   bool refusalIsTold_ = false;
   // No client is taken until then: there was no socket, or no descriptor for one.
   std::optional< double > listenAgainAt_;
   std::string listenError_; // As last told.
   double lookAt_ = 0;
};

} // namespace Ufdd
