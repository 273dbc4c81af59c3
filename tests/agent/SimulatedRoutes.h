#pragma once

#include "agent/kernel/RouteSource.h"

namespace Ufdd {

// Stands in for the kernel's routes.
class SimulatedRoutes : public RouteSource {
 public:
   void follow( std::span< Prefix const > ) override {}
   void listenerIs( RouteListener& listener ) override { listener_ = &listener; }
   RouteTable const& table() const override { return table_; }
   void putBack( std::span< LinkSettingRequest > requests ) override {
      for ( LinkSettingRequest const& request : requests )
         restored.push_back( request.setting );
   }
   bool isReading() const override { return isBeingRead; }
   void deliver() override {}
   void recover() override {}
   std::optional< double > nextTime() const override { return std::nullopt; }
   std::string takeTrouble() override { return ""; }

   // Has the only route to that prefix leave by that link; by none if that is 0.
   void routeIs( Prefix const& to, std::uint32_t link ) {
      Route route;
      route.to = to;
      route.isInMain = true;
      route.isUnicast = link != 0;
      if ( link != 0 )
         route.hops.push_back( { .link = link } );
      table_.insert( route, true );
   }

   // Adds a static route with that payload.
   void addStatic( std::uint32_t link, std::byte payload ) {
      Route route;
      route.isUnicast = route.isStatic = true;
      route.hops.push_back( { .link = link } );
      route.metric = std::to_integer< std::uint32_t >( payload );
      route.payload.push_back( payload );
      table_.insert( route, false );
   }
   // Tells that the link was set up or down, as late as the test wants.
   void tell( std::uint32_t link, bool isUp ) {
      using Event = RouteListener::LinkEvent;
      listener_->handleLinkEvent( link, isUp ? Event::up : Event::down );
      table_.handleLink( link, isUp );
   }

   std::vector< LinkSetting > restored;
   bool isBeingRead = false;

 protected:
   RouteListener* listener_ = nullptr;
   RouteTable table_;
};

} // namespace Ufdd
