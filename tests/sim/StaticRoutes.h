#pragma once

#include "platform/zet/Clock.h"
#include "tests/agent/SimulatedKernel.h"
#include "tests/agent/SimulatedRoutes.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Simulation {

// Gives links a static route each. The kernel drops it when the link is set down, and the daemon
// hears of that later.
class StaticRoutes final : public Ufdd::SimulatedRoutes {
 public:
   // Who made the kernel drop the route; `unclear` if a daemon may take it for its own act.
   enum class Fate { present, ours, others, unclear };
   struct Kept {
      Fate fate = Fate::present;
      bool isUp = true;                      // The link.
      bool mayReturn = false;                // The daemon may believe that it owes the route.
      std::uint64_t unheard = 0;             // The event that tells of what others dropped; or 0.
      std::vector< std::byte > payload = {}; // The link's index, and which of its routes it is.
   };

   // Borrows: violations.
   explicit StaticRoutes( std::string& violations ) : violations_( violations ) {}

   // Has the default route leave by that link, or by none if that is 0.
   void defaultIs( std::uint32_t link ) {
      default_ = link;
      routeIs( {}, link );
   }
   // Somebody gives the link its route, which is another one if the link is new.
   void add( std::uint32_t link, bool isNew ) {
      Kept& kept = links[ link ];
      if ( isNew )
         kept = { .payload = payloadOf( link, ++count_ ) };
      kept.mayReturn |= std::exchange( kept.fate, Fate::present ) == Fate::ours;
      tell( link, kept );
   }
   // Call after the link was set up or down.
   void handleAdmin( Ufdd::SimulatedLink const& link ) {
      auto const at = links.find( link.index );
      if ( at == links.end() )
         return;
      Kept& kept = at->second;
      kept.isUp = link.adminUp;
      if ( !link.adminUp && kept.fate == Fate::present ) {
         kept.fate = link.isUnclear || kept.mayReturn ? Fate::unclear
                     : link.ours                      ? Fate::ours
                                                      : Fate::others;
         kept.unheard = kept.fate == Fate::others ? events_ + 1 : 0;
      } else if ( !link.adminUp && link.ours && kept.fate == Fate::others && kept.unheard != 0 ) {
         // The daemon hears of both at once. It can't tell which of the two dropped the route.
         kept.fate = Fate::unclear;
      }
      later( link.index, link.adminUp ? Event::up : Event::down );
   }
   void handleGone( std::uint32_t link ) {
      if ( links.erase( link ) > 0 )
         later( link, Event::gone );
   }

   void putBack( std::span< Ufdd::LinkSettingRequest > requests ) override {
      for ( Ufdd::LinkSettingRequest& request : requests ) {
         std::uint32_t link = 0;
         std::memcpy( &link, request.setting.payload.data(), sizeof link );
         auto const at = links.find( link );
         request.error = at == links.end()                  ? ENODEV
                         : !at->second.isUp                 ? ENETDOWN
                         : at->second.fate == Fate::present ? EEXIST
                                                            : 0;
         if ( request.error != 0 )
            continue;
         if ( at->second.payload != request.setting.payload )
            violations_ += "a link got a route of another one that had its index; ";
         if ( at->second.fate == Fate::others )
            violations_ += "a route was put back that others had dropped; ";
         at->second.fate = Fate::present;
         tell( at->first, at->second );
      }
   }
   // A process begins with what there is now.
   void listenerIs( Ufdd::RouteListener& listener ) override {
      listener_ = nullptr;
      deliver();
      listener_ = &listener;
   }
   void deliver() override { deliverUntil( std::numeric_limits< double >::infinity() ); }
   void recover() override { deliverUntil( Zet::now() ); }
   std::optional< double > nextTime() const override {
      return messages_.empty() ? std::nullopt : std::optional( messages_.front().first );
   }

   std::map< std::uint32_t, Kept > links; // By index.
   double delay = 0;                      // In seconds: how late the daemon hears of changes.

 private:
   using Event = Ufdd::RouteListener::LinkEvent;

   static std::vector< std::byte > payloadOf( std::uint32_t link, std::uint32_t number ) {
      std::vector< std::byte > bytes( 2 * sizeof link );
      std::memcpy( bytes.data(), &link, sizeof link );
      std::memcpy( bytes.data() + sizeof link, &number, sizeof number );
      return bytes;
   }
   void tell( std::uint32_t link, Kept const& kept ) {
      Ufdd::Route route;
      route.isUnicast = route.isStatic = true;
      route.hops.push_back( { .link = link } );
      route.metric = link;
      route.payload = kept.payload;
      messages_.emplace_back( Zet::now() + delay,
                              [ this, route ] { table_.insert( route, false ); } );
   }
   void later( std::uint32_t link, Event event ) {
      std::uint64_t const number = ++events_;
      messages_.emplace_back( Zet::now() + delay, [ this, link, event, number ] {
         if ( listener_ )
            listener_->handleLinkEvent( link, event );
         if ( auto const at = links.find( link );
              at != links.end() && at->second.unheard == number )
            at->second.unheard = 0;
         if ( event == Event::gone )
            table_.handleLinkGone( link );
         else
            table_.handleLink( link, event == Event::up );
         // Not part of this simulation: the default route is where a schedule has put it.
         if ( default_ == link )
            routeIs( {}, link );
      } );
   }
   void deliverUntil( double time ) {
      while ( !messages_.empty() && messages_.front().first <= time ) {
         auto const message = std::move( messages_.front().second );
         messages_.pop_front();
         message();
      }
   }

   std::string& violations_;
   std::uint32_t default_ = 0;
   std::uint32_t count_ = 0;  // Of routes so far.
   std::uint64_t events_ = 0; // So many.
   std::deque< std::pair< double, std::function< void() > > > messages_;
};

} // namespace Simulation
