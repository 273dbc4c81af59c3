#pragma once

#include "agent/config/DetectionSettings.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkSource.h"
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
   // Borrows: both.
   CarrierWatch( LinkDirectory const& links, LinkSource& source )
       : links_( links ), source_( source ) {}

   void settingsAre( DetectionSettings const& settings );
   void uplinksAre( std::vector< Kelnet::IntfId > uplinks ) { uplinks_ = std::move( uplinks ); }
   // Something happened to some link. Asks at once, for the news may be old already, and goes on.
   void handleNews();
   // In which interval handleTick() is to be called from now on; 0 when not at all.
   std::uint32_t tickMs() const { return isAsking_ ? settings_.intervalMs : 0; }
   void handleTick();

 private:
   // A little more than the kernel holds news back.
   static constexpr double askingSeconds = 1.1;

   bool isTimeToAsk() const;
   void askAll();
   // Whether its driver says otherwise than the last news of it, or says nothing.
   bool isDifferent( Link const* link ) const;

   LinkDirectory const& links_;
   LinkSource& source_;
   DetectionSettings settings_;
   std::vector< Kelnet::IntfId > uplinks_;
   bool isAsking_ = false;
   double askUntil_ = 0;                    // On the clock of Zet::now().
   std::vector< std::uint32_t > different_; // While asking.
};

} // namespace Ufdd
