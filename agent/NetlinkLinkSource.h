#pragma once

#include "agent/EventLoop.h"
#include "agent/LinkFeed.h"
#include "agent/LinkSource.h"
#include "agent/NetlinkSocket.h"

#include <cstdint>
#include <optional>

namespace Ufdd {

// The links of the network namespace that the process was in when this was made.
class NetlinkLinkSource final : public LinkSource {
 public:
   // Borrows: loop, which delivers the news.
   explicit NetlinkLinkSource( EventLoop& loop );

   void start( LinkListener& listener ) override;

 private:
   void handleReadable();
   void askForDump();
   // Takes in the next datagram, waiting for it at most that long; false when there was none.
   bool receive( int timeoutMs );

   EventLoop& loop_;
   NetlinkSocket socket_;
   std::optional< LinkFeed > feed_;
   std::uint32_t sequence_ = 0;
};

} // namespace Ufdd
