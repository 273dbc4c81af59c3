#pragma once

#include "agent/base/EventLoop.h"
#include "agent/kernel/LinkFeed.h"
#include "agent/kernel/LinkProbe.h"
#include "agent/kernel/LinkSource.h"
#include "agent/kernel/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// The links of the network namespace that the process was in when this was made.
class NetlinkLinkSource final : public LinkSource {
 public:
   // Room for the messages of some thousand links that change at once.
   static constexpr int usualReceiveBuffer = 8 << 20;

   // `receiveBuffer` is in bytes; the buffer is smaller where the system doesn't allow that much.
   // Borrows: loop.
   explicit NetlinkLinkSource( EventLoop& loop, int receiveBuffer = usualReceiveBuffer );

   void start( LinkListener& listener ) override;
   std::optional< bool > carrier( InterfaceName const& name ) override {
      return probe_.carrier( name );
   }
   // If the kernel can't be asked, only its own messages are delivered.
   bool query( std::span< std::uint32_t const > indexes ) override;
   bool recover() override;
   bool tookMessages() override { return feed_->tookMessages(); }
   std::string takeTrouble() override;

 private:
   void handleReadable();
   void requestDump();
   // Handles the next datagram, waiting for it at most that long. Returns false when none came.
   bool receive( int timeoutMs );

   EventLoop& loop_;
   int const receiveBuffer_;
   NetlinkSocket socket_;
   LinkProbe probe_;
   std::optional< LinkFeed > feed_;
   std::uint32_t sequence_ = 0;
   int receiveErrors_ = 0; // In a row.
   int queryError_ = 0;    // The last errno value of query().
   std::string queryTrouble_;
   std::vector< std::byte > queries_;
};

} // namespace Ufdd
