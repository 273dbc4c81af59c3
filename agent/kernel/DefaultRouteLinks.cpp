#include "agent/kernel/DefaultRouteLinks.h"

#include <algorithm>
#include <iterator>

namespace Ufdd {

void
DefaultRouteLinks::clear() {
   carriers_.clear();
   uplinks_.clear();
   below_.clear();
}

void
DefaultRouteLinks::add( Link const& link ) {
   below_[ link.index ].lower = link.lower;
   if ( link.master != 0 )
      below_[ link.master ].members.push_back( link.index );
}

void
DefaultRouteLinks::add( Route const& route ) {
   if ( route.isDefault() )
      for ( RouteHop const& hop : route.hops )
         if ( !hop.isDead )
            collect( hop.link );
}

void
DefaultRouteLinks::collect( std::uint32_t index ) {
   auto const at = below_.find( index );
   if ( at == below_.end() || !carriers_.insert( index ).second )
      return;
   auto const& [ lower, members ] = at->second;
   collect( lower );
   std::vector< std::uint32_t > leading;
   std::ranges::copy_if( members, std::back_inserter( leading ), [ this ]( std::uint32_t member ) {
      Indexes seen;
      return leadsToUplink( member, seen );
   } );
   if ( leading.size() < 2 )
      for ( std::uint32_t const member : leading.empty() ? members : leading )
         collect( member );
}

// Returns true if the link is an uplink or runs on one.
bool
DefaultRouteLinks::leadsToUplink( std::uint32_t index, Indexes& seen ) const {
   auto const at = below_.find( index );
   if ( at == below_.end() || !seen.insert( index ).second )
      return false;
   return uplinks_.contains( index ) || leadsToUplink( at->second.lower, seen ) ||
          std::ranges::any_of( at->second.members, [ & ]( std::uint32_t member ) {
             return leadsToUplink( member, seen );
          } );
}

} // namespace Ufdd
