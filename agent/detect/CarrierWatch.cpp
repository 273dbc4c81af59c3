#include "agent/detect/CarrierWatch.h"

#include "platform/zet/Clock.h"

namespace Ufdd {

using Mode = DetectionSettings::Mode;

void
CarrierWatch::settingsAre( DetectionSettings const& settings ) {
   settings_ = settings;
   handleMessages();
}

void
CarrierWatch::handleMessages() {
   askUntil_ = Zet::now() + askingSeconds;
   handleTick();
}

bool
CarrierWatch::isTimeToAsk() const {
   return settings_.mode == Mode::poll ||
          ( settings_.mode == Mode::verify && Zet::now() < askUntil_ );
}

void
CarrierWatch::handleTick() {
   isAsking_ = isTimeToAsk();
   if ( isAsking_ )
      askAll();
}

bool
CarrierWatch::isDifferent( Link const* link ) const {
   return link && source_.carrier( link->name ) != link->carrier;
}

void
CarrierWatch::askAll() {
   different_.clear();
   for ( Kelnet::IntfId const uplink : uplinks_ )
      if ( Link const* const link = links_.link( uplink ); isDifferent( link ) )
         different_.push_back( link->index );
   if ( different_.empty() )
      return;
   // The query of the driver has usually made the kernel send the delayed message.
   source_.ask( {} );
   std::erase_if( different_, [ this ]( std::uint32_t index ) {
      return !isDifferent( links_.link( index ) );
   } );
   // Asks the kernel for messages instead of believing the drivers: messages are in order.
   if ( !different_.empty() )
      source_.ask( different_ );
}

} // namespace Ufdd
