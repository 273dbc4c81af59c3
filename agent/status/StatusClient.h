#pragma once

#include "agent/base/Descriptor.h"
#include "agent/status/StatusRoots.h"
#include "platform/zet/attrlog/Demuxer.h"

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Ufdd {

// The connection to a client that reads our roots. The client sends a hello, whose type says which
// roots it asks for; if it sends more, the connection ends. Sends these roots whole and then every
// change, as an attribute log.
class StatusClient {
 public:
   // The number of unsent bytes up to which changes are kept one by one. Beyond it, only the latest
   // state of each attribute is kept.
   static constexpr std::size_t unsentLimit = 1 << 18;
   // The number of seconds within which the client must send its hello.
   static constexpr double helloPatience = 1;
   // The number of seconds for which the client's socket may take nothing while bytes are unsent.
   static constexpr double patience = 5;

   // `limit` replaces unsentLimit. Requires: the socket is connected. Its calls never block.
   StatusClient( Descriptor socket, StatusRoots const& roots, std::size_t limit = unsentLimit );

   int fd() const { return socket_.fd(); }
   // Reads what the client has sent. Never blocks.
   void receive();
   // Sends as much as the socket takes. Call it in every turn of the loop; never blocks. Once the
   // socket has taken nothing, waits for handleWritable().
   void send();
   // The socket may take bytes again.
   void handleWritable() { isWritable_ = true; }
   // Returns true if bytes have begun, or ceased, to wait since the last call: the owner must
   // begin, or cease, to watch whether the socket takes bytes.
   bool takeWatchChange();
   // The number of bytes that wait until the socket takes them.
   std::size_t unsentSize() const { return demuxer_->out()->unsentSize(); }
   // Returns when send() drops the client unless it says hello or reads, by Zet::now(); or nothing.
   std::optional< double > deadline() const;

   // Returns true if the connection has ended: the owner must destroy this.
   bool hasEnded() const { return ended_; }
   // Returns why we dropped the client: "client of process 42 dropped: ...". Empty if we did not.
   std::string const& complaint() const { return complaint_; }

 private:
   using Adapter = Zet::Entity::ZetNboAttrLogSa;

   void greet();
   void fill();
   bool sendPiece();
   bool isGreeted() const { return demuxer_->in()->offset() != 0; }
   void checkPatience();
   void drop( std::string const& reason );

   Descriptor socket_;
   Zet::Ptr< Zet::NboAttrLog::Demuxer > demuxer_;
   StatusRoots const roots_;
   std::vector< Zet::Ptr< Adapter > > adapters_; // Of the roots that the client asked for.
   double const connectedAt_;                    // By Zet::now().
   bool isInStep_ = false; // The whole roots were written; only changes follow.
   // By Zet::now(), since when the socket takes nothing; empty while it takes bytes.
   std::optional< double > stuckSince_;
   bool isWritable_ = true; // Unless the socket took nothing the last time.
   bool isWatched_ = false; // As of the last takeWatchChange(): bytes were unsent.
   bool ended_ = false;
   std::string complaint_;
};

} // namespace Ufdd
