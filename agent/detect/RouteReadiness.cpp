#include "agent/detect/RouteReadiness.h"

#include <algorithm>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;

std::string
RouteReadiness::missing( GroupConfig const& group, GroupPolicy const& policy ) const {
   std::string text;
   for ( RouteCondition const& condition : policy.releaseWhen ) {
      bool const is = condition.to
                          ? isMet( group, *condition.to )
                          : isMet( group, Prefix() ) || isMet( group, Prefix{ .isV6 = true } );
      if ( !is )
         text += ( text.empty() ? "" : ", " ) + condition.text();
   }
   return text;
}

bool
RouteReadiness::isMet( GroupConfig const& group, Prefix const& to ) const {
   auto const [ begin, end ] = routes_.routes().equal_range( to );
   return std::any_of( begin, end, [ & ]( auto const& at ) {
      Route const& route = at.second;
      // A nexthop object may not tell its next hops.
      return route.isInMain && route.isUnicast &&
             ( route.hops.empty() ||
               std::any_of( route.hops.begin(), route.hops.end(),
                            [ & ]( RouteHop const& hop ) { return leadsOut( group, hop ); } ) );
   } );
}

bool
RouteReadiness::leadsOut( GroupConfig const& group, RouteHop const& hop ) const {
   Link const* const link = links_.link( hop.link );
   bool isPort = false;
   links_.forEachName( hop.link,
                       [ & ]( Kelnet::IntfId name ) { isPort |= group.intfsToDisable( name ); } );
   return link && link->adminUp && link->carrier && !hop.isDead && !isPort;
}

} // namespace Ufdd
