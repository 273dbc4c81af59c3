#include "agent/CarrierWatch.h"

#include "platform/zet/Clock.h"

#include <utility>

namespace Ufdd {

using Mode = DetectionSettings::Mode;

CarrierWatch::CarrierWatch( EventLoop& loop, LinkDirectory const& links, NetlinkLinkSource& source )
    : links_( links ), source_( source ) {
   loop.onReadable< &CarrierWatch::handleTick >( ticker_.fd(), *this );
}

void
CarrierWatch::settingsAre( DetectionSettings const& settings ) {
   settings_ = settings;
   isAsking_ = false;
   ticker_.stop();
   handleNews();
}

void
CarrierWatch::handleNews() {
   askUntil_ = Zet::now() + askingSeconds;
   if ( !isTimeToAsk() )
      return;
   if ( !std::exchange( isAsking_, true ) )
      ticker_.start( settings_.intervalMs );
   askAll();
}

bool
CarrierWatch::isTimeToAsk() const {
   return settings_.mode == Mode::poll ||
          ( settings_.mode == Mode::verify && Zet::now() < askUntil_ );
}

void
CarrierWatch::handleTick() {
   ticker_.take();
   isAsking_ = isTimeToAsk();
   if ( isAsking_ )
      askAll();
   else
      ticker_.stop();
}

void
CarrierWatch::askAll() {
   different_.clear();
   for ( Kelnet::IntfId const uplink : uplinks_ )
      if ( Link const* const link = links_.link( uplink );
           link && probe_.carrier( link->name ) != link->carrier )
         different_.push_back( link->index );
   // What counts is what the kernel says, and it comes in order with all other news.
   if ( !different_.empty() )
      source_.ask( different_ );
}

} // namespace Ufdd
