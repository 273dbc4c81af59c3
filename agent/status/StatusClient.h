#pragma once

#include "agent/base/Descriptor.h"
#include "model/Status.h"
#include "platform/zet/attrlog/Demuxer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace Ufdd {

// One that reads our Status: is sent all of it, and then every change, as an attribute log. What
// it sends itself is not applied: more than a hello ends the connection.
class StatusClient {
 public:
   // How much may wait for it. What has no room is kept as the state to be told, not as changes.
   static constexpr std::size_t unsentLimit = 1 << 20;
   // How many seconds it has for its hello.
   static constexpr double helloPatience = 1;
   // For how many seconds its socket may take nothing of what waits.
   static constexpr double patience = 5;

   // The socket's calls don't wait.
   StatusClient( Descriptor socket, Zet::Ptr< UplinkFailureDetection::Status > const& status,
                 std::size_t limit = unsentLimit );

   int fd() const { return socket_.fd(); }
   // Takes what it has sent.
   void receive();
   // Sends what the socket takes. Called in every turn of the loop; never waits.
   void send();
   // How many bytes wait until the socket takes them.
   std::size_t unsentSize() const { return demuxer_->out()->unsentSize(); }
   // When, by Zet::now(), it has to have said hello or read something; never while it does.
   std::optional< double > deadline() const;

   // Whether it has to go.
   bool hasEnded() const { return ended_; }
   // Why, unless it went by itself: "client of process 42 dropped: ...".
   std::string const& complaint() const { return complaint_; }

 private:
   using Adapter = Zet::Entity::ZetNboAttrLogSa;

   void fill();
   bool sendPiece();
   bool isGreeted() const { return demuxer_->in()->offset() != 0; }
   void checkPatience();
   void drop( std::string const& reason );

   Descriptor socket_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > demuxer_;
   Zet::Ptr< Adapter > adapter_;
   double const connectedAt_;
   bool isInStep_ = false;
   std::optional< double > stuckSince_;
   bool ended_ = false;
   std::string complaint_;
};

} // namespace Ufdd
