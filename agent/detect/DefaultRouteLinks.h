#pragma once

#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/RouteTable.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Ufdd {

// The links that carry a default route of the main table: those by which it leaves the machine, and
// all that these run on, such as the device of a VLAN or the members of a LAG or a bridge. A bridge
// with an uplink among its ports is left out with its other ports: its default route leads over
// the uplink.
class DefaultRouteLinks {
 public:
   // Borrows: links.
   explicit DefaultRouteLinks( LinkDirectory const& links ) : links_( links ) {}

   // Finds them anew. Call it after routes or links have changed: carries() asks nobody.
   void update( RouteTable const& routes, std::span< Kelnet::IntfId const > uplinks );
   bool carries( std::uint32_t link ) const { return carriers_.contains( link ); }

 private:
   using Indexes = std::unordered_set< std::uint32_t >;

   void collect( std::uint32_t index );
   // Valid until: update().
   std::span< std::uint32_t const > membersOf( std::uint32_t master ) const;
   bool leadsToUplink( std::uint32_t index, Indexes& seen ) const;

   LinkDirectory const& links_;
   Indexes carriers_;
   Indexes uplinks_;
   // The members of each LAG and bridge, by its index.
   std::unordered_map< std::uint32_t, std::vector< std::uint32_t > > members_;
};

} // namespace Ufdd
