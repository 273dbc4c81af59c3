#include "agent/detect/CarrierWatch.h"

#include "platform/zet/Clock.h"

#include <algorithm>

namespace Ufdd {

using Mode = DetectionSettings::Mode;

void
CarrierWatch::settingsAre( DetectionSettings const& settings ) {
   settings_ = settings;
   probeForAWhile();
}

void
CarrierWatch::probeForAWhile() {
   probeUntil_ = Zet::now() + probingSeconds;
   handleTick();
}

bool
CarrierWatch::isAlert() const {
   return settings_.mode == Mode::poll || Zet::now() < probeUntil_;
}

std::uint32_t
CarrierWatch::wantedTickMs() const {
   if ( settings_.mode == Mode::events )
      return 0;
   if ( isAlert() )
      return settings_.intervalMs;
   return settings_.mode == Mode::automatic
              ? std::max( settings_.intervalMs, settings_.idleIntervalMs )
              : 0;
}

bool
CarrierWatch::handleTick() {
   std::uint32_t const before = std::exchange( tickMs_, wantedTickMs() );
   bool const hasNews = tickMs_ != 0 && probeAll();
   return hasNews || tickMs_ != before;
}

bool
CarrierWatch::probeAll() {
   probeDrivers();
   // The query of the driver has usually made the kernel send the delayed message.
   bool hasMessages = isContradicted_ && source_.query( {} );
   doubtful_.clear();
   for ( Doubt const& doubt : doubts_ )
      if ( Link const* const link = links_.link( doubt.index );
           link && doubt.carrier != link->carrier )
         doubtful_.push_back( doubt.index );
   // Asks the kernel for messages instead of believing the drivers: messages are in order.
   if ( !doubtful_.empty() )
      hasMessages = source_.query( doubtful_ );
   for ( Doubt const& doubt : doubts_ )
      if ( Link const* const link = links_.link( doubt.index );
           link && doubt.carrier == link->carrier )
         ++found_;
   return hasMessages || !links_.changes().empty();
}

void
CarrierWatch::probeDrivers() {
   doubts_.clear();
   isContradicted_ = false;
   std::size_t mutes = isAlert() ? uplinks_.size() : mutesPerIdleTick();
   for ( std::size_t i = 0, next = nextMute_; i < uplinks_.size(); ++i ) {
      std::size_t const at = next;
      next = at + 1 == uplinks_.size() ? 0 : at + 1;
      Link const* const link = links_.link( uplinks_[ at ] );
      if ( !link || ( wereMute_[ at ] && mutes == 0 ) )
         continue;
      std::optional< bool > const carrier = source_.carrier( link->name );
      wereMute_[ at ] = !carrier;
      if ( carrier == link->carrier || ( !carrier && mutes == 0 ) )
         continue;
      if ( !carrier ) {
         --mutes;
         nextMute_ = next;
      }
      isContradicted_ |= carrier.has_value();
      doubts_.push_back( { link->index, carrier } );
   }
}

} // namespace Ufdd
