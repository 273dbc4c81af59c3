#pragma once

#include "agent/CarrierProbe.h"
#include "agent/EventLoop.h"
#include "agent/LinkFeed.h"
#include "agent/LinkSource.h"
#include "agent/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
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
   // Why it couldn't, since the last call: an errno value, or 0.
   int takeAskError() { return std::exchange( askError_, 0 ); }
   // Whether anything happened since the last call, other than that ask() was answered.
   bool takeNews() { return feed_ && feed_->takeNews(); }
   // The end of a loop turn, once started. False while links are being read again: it has to be
   // called each second then, though nothing else happens.
   bool settle();
   // What went wrong since the last call, so that all links are read again; or empty.
   std::string takeTrouble() { return std::exchange( trouble_, {} ); }

 private:
   void handleReadable();
   void askForDump();
   // Tells it once, until links are known again.
   void handleTrouble( std::string const& what );
   // Takes in the next datagram, waiting for it at most that long; false when there was none.
   bool receive( int timeoutMs );

   EventLoop& loop_;
   int const receiveBuffer_;
   NetlinkSocket socket_;
   CarrierProbe probe_;
   std::optional< LinkFeed > feed_;
   std::uint32_t sequence_ = 0;
   std::string trouble_;
   bool isTroubled_ = false; // Until all links are known again.
   int receiveErrors_ = 0;   // In a row.
   int askError_ = 0;
   std::vector< std::byte > questions_;
};

} // namespace Ufdd
