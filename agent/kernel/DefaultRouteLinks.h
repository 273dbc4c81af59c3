#pragma once

#include "agent/kernel/LinkSource.h"
#include "agent/kernel/Route.h"

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Ufdd {

// The links that carry a default route of the main table: those by which it leaves the machine, and
// all that these run on, such as the device of a VLAN or the members of a LAG or a bridge. A member
// is left out if another member is an uplink or runs on one: the default route leads over that.
class DefaultRouteLinks {
 public:
   // Forgets all. Call it when routes or links have changed, and then the next three, in this
   // order, for all that there are: carries() asks nobody.
   void clear();
   void add( Link const& link );
   void addUplink( std::uint32_t link ) { uplinks_.insert( link ); }
   // Ignores routes other than the default routes of the main table.
   void add( Route const& route );

   bool carries( std::uint32_t link ) const { return carriers_.contains( link ); }

 private:
   using Indexes = std::unordered_set< std::uint32_t >;
   // What a link runs on.
   struct Below {
      std::uint32_t lower = 0; // As in Link.
      std::vector< std::uint32_t > members;
   };

   void collect( std::uint32_t index );
   bool leadsToUplink( std::uint32_t index, Indexes& seen ) const;

   Indexes carriers_;
   Indexes uplinks_;
   std::unordered_map< std::uint32_t, Below > below_; // By index.
};

} // namespace Ufdd
