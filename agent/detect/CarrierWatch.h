#pragma once

#include "agent/config/DetectionSettings.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkSource.h"
#include "platform/kelnet/IntfId.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace Ufdd {

// Finds carrier losses that the kernel does not report yet. For most drivers it sends such messages
// at most once a second for the whole machine, and any link event starts that second, also our own
// shutting of a port. Therefore each uplink is queried again and again after any message, until no
// message can be delayed any more. Messages in other network namespaces count as well, and anyone
// may cause these: ufdd doesn't see them. Mode `automatic` therefore goes on to query, at a slower
// pace.
class CarrierWatch {
 public:
   // Borrows: both.
   CarrierWatch( LinkDirectory const& links, LinkSource& source )
       : links_( links ), source_( source ) {}

   void settingsAre( DetectionSettings const& settings );
   void uplinksAre( std::vector< Kelnet::IntfId > uplinks ) {
      uplinks_ = std::move( uplinks );
      wereMute_.assign( uplinks_.size(), false );
      nextMute_ = 0;
   }
   // Call after any message about a link. Starts to query, at once: the message may be old already.
   void probeForAWhile();
   // The interval in milliseconds at which to call handleTick() from now on; 0 for not at all.
   std::uint32_t tickMs() const { return tickMs_; }
   // Returns false if no uplink, message or tickMs() has changed.
   bool handleTick();
   // The number of carrier changes that were found by querying the drivers. Wraps.
   unsigned int found() const { return found_; }

 private:
   // A little more than the kernel delays messages.
   static constexpr double probingSeconds = 1.1;

   // The number of uplinks with a mute driver that one tick queries in the idle mode, so that ticks
   // stay cheap. A query of the kernel costs several times as much as one of a driver.
   std::size_t mutesPerIdleTick() const { return 1 + uplinks_.size() / 32; }

   // A link whose driver contradicts the last message about it, or says nothing.
   struct Doubt {
      std::uint32_t index;
      std::optional< bool > carrier; // As the driver says.
   };

   bool isAlert() const;
   std::uint32_t wantedTickMs() const;
   // Returns false if no uplink has changed and no message has come.
   bool probeAll();
   void probeDrivers();

   LinkDirectory const& links_;
   LinkSource& source_;
   DetectionSettings settings_;
   std::vector< Kelnet::IntfId > uplinks_;
   std::uint32_t tickMs_ = 0;
   double probeUntil_ = 0;    // On the clock of Zet::now().
   std::size_t nextMute_ = 0; // The place in uplinks_ at which the next idle tick begins.
   // For each of uplinks_, whether its driver said nothing when it was last queried. Such a driver
   // is not queried in an idle tick, unless the kernel is to be queried as well.
   std::vector< bool > wereMute_;
   // Of the last tick; kept for their memory.
   std::vector< Doubt > doubts_;
   bool isContradicted_ = false; // Among the doubts is one of a driver that says something.
   std::vector< std::uint32_t > doubtful_;
   unsigned int found_ = 0;
};

} // namespace Ufdd
