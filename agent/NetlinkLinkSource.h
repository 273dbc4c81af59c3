#pragma once

#include "agent/EventLoop.h"
#include "agent/LinkFeed.h"
#include "agent/LinkSource.h"
#include "agent/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Ufdd {

// The links of the network namespace that the process was in when this was made.
class NetlinkLinkSource final : public LinkSource {
 public:
   // Borrows: loop, which delivers the news.
   explicit NetlinkLinkSource( EventLoop& loop );

   void start( LinkListener& listener ) override;
   // Has the listener told of these links, as they are now, before it returns. Whatever else there
   // is to be told comes in order with that. One that is gone is not told of.
   void ask( std::span< std::uint32_t const > indexes );
   // Whether anything happened since the last call, other than that ask() was answered.
   bool takeNews() { return feed_ && feed_->takeNews(); }

 private:
   void handleReadable();
   void askForDump();
   // Takes in the next datagram, waiting for it at most that long; false when there was none.
   bool receive( int timeoutMs );

   EventLoop& loop_;
   NetlinkSocket socket_;
   std::optional< LinkFeed > feed_;
   std::uint32_t sequence_ = 0;
   std::vector< std::byte > questions_;
};

} // namespace Ufdd
