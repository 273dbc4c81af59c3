#include "agent/detect/CarrierWatch.h"

#include "platform/zet/Clock.h"

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
CarrierWatch::isTimeToProbe() const {
   return settings_.mode == Mode::poll ||
          ( settings_.mode == Mode::verify && Zet::now() < probeUntil_ );
}

void
CarrierWatch::handleTick() {
   isProbing_ = isTimeToProbe();
   if ( isProbing_ )
      probeAll();
}

bool
CarrierWatch::isDifferent( Link const* link ) const {
   return link && source_.carrier( link->name ) != link->carrier;
}

void
CarrierWatch::probeAll() {
   different_.clear();
   for ( Kelnet::IntfId const uplink : uplinks_ )
      if ( Link const* const link = links_.link( uplink ); isDifferent( link ) )
         different_.push_back( link->index );
   if ( different_.empty() )
      return;
   // The query of the driver has usually made the kernel send the delayed message.
   source_.query( {} );
   std::erase_if( different_, [ this ]( std::uint32_t index ) {
      return !isDifferent( links_.link( index ) );
   } );
   // Asks the kernel for messages instead of believing the drivers: messages are in order.
   if ( !different_.empty() )
      source_.query( different_ );
}

} // namespace Ufdd
