#pragma once

#include "agent/base/Descriptor.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace Ufdd {

// The connection to a client that steers ufdd: takes one request, sends one reply, and ends. Never
// waits.
class ControlClient {
 public:
   // The number of seconds within which the client must send its whole request; and then, within
   // which it must read the reply.
   static constexpr double patience = 1;

   // Requires: the socket is connected. Its calls never block.
   explicit ControlClient( Descriptor socket );

   int fd() const { return socket_.fd(); }
   ucred const& peer() const { return peer_; }
   // Returns true if the client is in that group, as isPeerInGroup() says.
   bool isInGroup( gid_t group ) const;
   // "process 42 of user 1000"
   std::string peerText() const;

   // Reads what the client has sent.
   void receive();
   // Returns the request once it is whole, or once no more of it can come. Returns nothing before
   // that, and after answer().
   std::optional< std::string_view > request() const;
   // Sends the text, now and in later calls of send().
   void answer( std::string text );
   void send();
   // Returns true if a part of the answer waits until the socket takes it.
   bool hasUnsent() const { return isAnswered_ && !hasEnded_; }
   // Returns true if the connection has ended: the owner must destroy this.
   bool hasEnded() const { return hasEnded_; }
   void end() { hasEnded_ = true; }
   // By Zet::now(). When it has passed, the client has been too slow.
   double deadline() const { return deadline_; }

 private:
   Descriptor socket_;
   ucred const peer_;
   std::string text_; // The part of the request that has come; later, of the answer that is unsent.
   bool isComplete_ = false; // No more of the request is read.
   bool isAnswered_ = false;
   bool hasEnded_ = false;
   double deadline_;
};

} // namespace Ufdd
