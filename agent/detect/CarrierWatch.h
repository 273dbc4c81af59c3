#pragma once

#include "agent/config/DetectionSettings.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkSource.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace Ufdd {

// Finds carrier losses that the kernel does not report yet. For most drivers it sends such messages
// at most once a second for the whole machine, and any link event starts that second, also our own
// shutting of a port. Therefore each uplink is queried again and again after any message, until no
// message can be delayed any more.
class CarrierWatch {
 public:
   // Borrows: both.
   CarrierWatch( LinkDirectory const& links, LinkSource& source )
       : links_( links ), source_( source ) {}

   void settingsAre( DetectionSettings const& settings );
   void uplinksAre( std::vector< Kelnet::IntfId > uplinks ) { uplinks_ = std::move( uplinks ); }
   // Call after any message about a link. Starts to query, at once: the message may be old already.
   void probeForAWhile();
   // The interval in milliseconds at which to call handleTick() from now on; 0 for not at all.
   std::uint32_t tickMs() const { return isProbing_ ? settings_.intervalMs : 0; }
   void handleTick();

 private:
   // A little more than the kernel delays messages.
   static constexpr double probingSeconds = 1.1;

   bool isTimeToProbe() const;
   void probeAll();
   // Returns true if the driver contradicts the last message about the link, or says nothing.
   bool isDifferent( Link const* link ) const;

   LinkDirectory const& links_;
   LinkSource& source_;
   DetectionSettings settings_;
   std::vector< Kelnet::IntfId > uplinks_;
   bool isProbing_ = false;
   double probeUntil_ = 0;                  // On the clock of Zet::now().
   std::vector< std::uint32_t > different_; // See isDifferent(); kept for its memory.
};

} // namespace Ufdd
