#pragma once

#include "agent/kernel/RouteSource.h"

namespace Ufdd {

// Stands in for the kernel's routes.
class SimulatedRoutes final : public RouteSource {
 public:
   void follow( std::span< Prefix const > ) override {}
   void listenerIs( RouteListener& ) override {}
   RouteTable const& table() const override { return table_; }
   void putBack( std::span< LinkSettingRequest > ) override {}
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

 private:
   RouteTable table_;
};

} // namespace Ufdd
