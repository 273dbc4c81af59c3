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
   // Room for the news of some thousand links that change at once.
   static constexpr int usualReceiveBuffer = 8 << 20;

   // Borrows: loop, which delivers the news. The size is in bytes; where the system doesn't allow
   // as much, it is as large as it may be.
   explicit NetlinkLinkSource( EventLoop& loop, int receiveBuffer = usualReceiveBuffer );

   void start( LinkListener& listener ) override;
   std::optional< bool > carrier( InterfaceName const& name ) override {
      return probe_.carrier( name );
   }
   // Where that can't be asked, the kernel's own news have to do.
   void ask( std::span< std::uint32_t const > indexes ) override;
   bool settle() override;
   bool takeNews() override { return feed_->takeNews(); }
   std::string takeTrouble() override;

 private:
   void handleReadable();
   void askForDump();
   // Takes in the next datagram, waiting for it at most that long; false when there was none.
   bool receive( int timeoutMs );

   EventLoop& loop_;
   int const receiveBuffer_;
   NetlinkSocket socket_;
   LinkProbe probe_;
   std::optional< LinkFeed > feed_;
   std::uint32_t sequence_ = 0;
   int receiveErrors_ = 0; // In a row.
   int askError_ = 0;      // The last, an errno value.
   std::string askTrouble_;
   std::vector< std::byte > questions_;
};

} // namespace Ufdd
