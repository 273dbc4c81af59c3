#include "agent/detect/DefaultRouteLinks.h"

#include <algorithm>

namespace Ufdd {

void
DefaultRouteLinks::update( RouteTable const& routes, std::span< Kelnet::IntfId const > uplinks ) {
   carriers_.clear();
   uplinks_.clear();
   members_.clear();
   links_.forEachLink( [ this ]( Link const& link ) {
      if ( link.master != 0 )
         members_[ link.master ].push_back( link.index );
   } );
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
   std::span< std::uint32_t const > const members = membersOf( index );
   Indexes seen;
   bool const hasUplink =
       std::any_of( members.begin(), members.end(),
                    [ & ]( std::uint32_t member ) { return leadsToUplink( member, seen ); } );
   if ( !hasUplink )
      for ( std::uint32_t const member : members )
         collect( member );
}

std::span< std::uint32_t const >
DefaultRouteLinks::membersOf( std::uint32_t master ) const {
   auto const at = members_.find( master );
   return at == members_.end() ? std::span< std::uint32_t const >() : at->second;
}

// Returns true if the link is an uplink or runs on one.
bool
DefaultRouteLinks::leadsToUplink( std::uint32_t index, Indexes& seen ) const {
   Link const* const link = links_.link( index );
   if ( !link || !seen.insert( index ).second )
      return false;
   std::span< std::uint32_t const > const members = membersOf( index );
   return uplinks_.contains( index ) || leadsToUplink( link->lower, seen ) ||
          std::any_of( members.begin(), members.end(),
                       [ & ]( std::uint32_t member ) { return leadsToUplink( member, seen ); } );
}

} // namespace Ufdd
