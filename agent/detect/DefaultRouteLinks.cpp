#include "agent/detect/DefaultRouteLinks.h"

#include <algorithm>

namespace Ufdd {

void
DefaultRouteLinks::update( RouteTable const& routes, std::span< Kelnet::IntfId const > uplinks ) {
   carriers_.clear();
   uplinks_.clear();
   for ( Kelnet::IntfId const uplink : uplinks )
      if ( Link const* const link = links_.link( uplink ) )
         uplinks_.insert( link->index );
   for ( bool const isV6 : { false, true } ) {
      auto const [ begin, end ] = routes.routes().equal_range( Prefix{ .isV6 = isV6 } );
      for ( auto at = begin; at != end; ++at )
         if ( at->second.isDefault() )
            for ( RouteHop const& hop : at->second.hops )
               if ( !hop.isDead )
                  collect( hop.link );
   }
}

void
DefaultRouteLinks::collect( std::uint32_t index ) {
   Link const* const link = links_.link( index );
   if ( !link || !carriers_.insert( index ).second )
      return;
   collect( link->lower );
   std::vector< std::uint32_t > const members = membersOf( index );
   Indexes seen;
   bool const hasUplink =
       std::any_of( members.begin(), members.end(),
                    [ & ]( std::uint32_t member ) { return leadsToUplink( member, seen ); } );
   if ( !hasUplink )
      for ( std::uint32_t const member : members )
         collect( member );
}

std::vector< std::uint32_t >
DefaultRouteLinks::membersOf( std::uint32_t master ) const {
   std::vector< Link > links;
   links_.collectMembers( master, links );
   std::vector< std::uint32_t > members;
   for ( Link const& link : links )
      members.push_back( link.index );
   return members;
}

// Returns true if the link is an uplink or runs on one.
bool
DefaultRouteLinks::leadsToUplink( std::uint32_t index, Indexes& seen ) const {
   Link const* const link = links_.link( index );
   if ( !link || !seen.insert( index ).second )
      return false;
   std::vector< std::uint32_t > const members = membersOf( index );
   return uplinks_.contains( index ) || leadsToUplink( link->lower, seen ) ||
          std::any_of( members.begin(), members.end(),
                       [ & ]( std::uint32_t member ) { return leadsToUplink( member, seen ); } );
}

} // namespace Ufdd
