#pragma once

#include "agent/CarrierProbe.h"
#include "agent/DetectionSettings.h"
#include "agent/EventLoop.h"
#include "agent/LinkDirectory.h"
#include "agent/NetlinkLinkSource.h"
#include "agent/Ticker.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace Ufdd {

// Finds out about carrier losses that the kernel does not tell of yet: it lets such news of
// ordinary interfaces through once a second at most, for all of the machine, and any link event
// may start that second, be it our own shutting of a port. So after any news each uplink is asked
// by itself, again and again, until no news can be held back any more.
class CarrierWatch {
 public:
   // Borrows: all three.
   CarrierWatch( EventLoop& loop, LinkDirectory const& links, NetlinkLinkSource& source );

   void settingsAre( DetectionSettings const& settings );
   void uplinksAre( std::vector< Kelnet::IntfId > uplinks ) { uplinks_ = std::move( uplinks ); }
   // Something happened to some link. Asks at once, for the news may be old already, and goes on.
   void handleNews();

 private:
   // A little more than the kernel holds news back.
   static constexpr double askingSeconds = 1.1;

   bool isTimeToAsk() const;
   void handleTick();
   void askAll();

   LinkDirectory const& links_;
   NetlinkLinkSource& source_;
   CarrierProbe probe_;
   DetectionSettings settings_;
   Ticker ticker_; // On while asking is under way.
   std::vector< Kelnet::IntfId > uplinks_;
   bool isAsking_ = false;
   double askUntil_ = 0;                    // On the clock of Zet::now().
   std::vector< std::uint32_t > different_; // While asking.
};

} // namespace Ufdd
