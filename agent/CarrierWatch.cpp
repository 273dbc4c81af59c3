#include "agent/CarrierWatch.h"

#include "platform/zet/Clock.h"

namespace Ufdd {

using Mode = DetectionSettings::Mode;

CarrierWatch::CarrierWatch( EventLoop& loop, LinkDirectory const& links, NetlinkLinkSource& source )
    : links_( links ), source_( source ),
      timer_( loop.timer< &CarrierWatch::handleTime >( *this ) ) {}

void
CarrierWatch::settingsAre( DetectionSettings const& settings ) {
   settings_ = settings;
   handleNews();
}

void
CarrierWatch::handleNews() {
   if ( settings_.mode == Mode::events )
      return;
   askUntil_ = Zet::now() + askingSeconds;
   if ( !isAsking_ )
      handleTime();
}

void
CarrierWatch::handleTime() {
   isAsking_ =
       settings_.mode == Mode::poll || ( settings_.mode == Mode::verify && Zet::now() < askUntil_ );
   if ( !isAsking_ )
      return;
   askAll();
   timer_.fireIn( settings_.intervalMs * 1000ull );
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
