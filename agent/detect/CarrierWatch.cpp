#include "agent/detect/CarrierWatch.h"

#include "platform/zet/Clock.h"

namespace Ufdd {

using Mode = DetectionSettings::Mode;

void
CarrierWatch::settingsAre( DetectionSettings const& settings ) {
   settings_ = settings;
   handleNews();
}

void
CarrierWatch::handleNews() {
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
   // As a rule, asking the driver has just released the news.
   source_.ask( {} );
   std::erase_if( different_, [ this ]( std::uint32_t index ) {
      return !isDifferent( links_.link( index ) );
   } );
   // What counts is what the kernel says, and it comes in order with all other news.
   if ( !different_.empty() )
      source_.ask( different_ );
}

} // namespace Ufdd
