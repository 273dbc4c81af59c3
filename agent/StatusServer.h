#pragma once

#include "agent/Descriptor.h"
#include "agent/Log.h"
#include "agent/SocketFile.h"
#include "agent/StatusClient.h"
#include "model/Status.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ufdd {

// Serves the Status to other processes over a Unix socket, as an attribute log that can only be
// read. No client is ever waited for, and none can hurt another.
class StatusServer {
 public:
   static constexpr char const* usualSocket = "/run/ufdd/status";
   static constexpr std::size_t clientLimit = 32;

   // Throws: std::system_error as SocketFile does.
   StatusServer( std::string const& path, Zet::Ptr< UplinkFailureDetection::Status > status,
                 Log& log );

   // Readable while handleReady() has something to do.
   int fd() const { return poll_.fd(); }
   // Takes one new client, and what clients have sent.
   void handleReady();
   // The end of a loop turn: sends what is new, and drops who doesn't read.
   void settle();
   // In how many seconds settle() has to be called, though nothing else happens.
   std::optional< double > dueIn() const;

   std::vector< std::unique_ptr< StatusClient > > const& clients() const { return clients_; }

 private:
   static constexpr double acceptPause = 1;

   void accept();
   void refuse();
   void pauseAccepting( int error );
   void watch( int operation, int fd, std::uint32_t events, StatusClient* client ) const;

   Zet::Ptr< UplinkFailureDetection::Status > status_;
   Log& log_;
   SocketFile socket_;
   Descriptor poll_;
   std::vector< std::unique_ptr< StatusClient > > clients_;
   // Refusals are told of once, until a client has gone.
   bool refusalIsTold_ = false;
   // No client is taken until then: there was no descriptor for it.
   std::optional< double > acceptAgainAt_;
};

} // namespace Ufdd
