#include "agent/config/SystemView.h"

#include "agent/kernel/DefaultRouteLinks.h"
#include "agent/kernel/SystemDump.h"

#include <cstdint>

namespace Ufdd {

namespace {

std::string
nameOf( Link const& link ) {
   return std::string( link.name.view() );
}

} // namespace

std::set< std::string >
SystemView::defaultRouteLinks( std::set< std::string > const& uplinks ) const {
   DefaultRouteLinks carriers;
   for ( Link const& link : links ) {
      carriers.add( link );
      if ( uplinks.contains( nameOf( link ) ) )
         carriers.addUplink( link.index );
   }
   for ( Route const& route : defaultRoutes )
      carriers.add( route );
   std::set< std::string > names;
   for ( Link const& link : links )
      if ( carriers.carries( link.index ) )
         names.insert( nameOf( link ) );
   return names;
}

SystemView
readSystem() {
   std::map< std::uint32_t, Link > const links = dumpLinks();
   SystemView view;
   for ( auto const& [ index, link ] : links ) {
      view.links.push_back( link );
      std::set< std::string >& own = view.interfaces[ nameOf( link ) ];
      own.insert( nameOf( link ) );
      if ( link.isLag )
         for ( auto const& [ member, other ] : links )
            if ( other.master == index )
               own.insert( nameOf( other ) );
      for ( auto lower = links.find( link.lower ); lower != links.end();
            lower = links.find( lower->second.lower ) )
         if ( !view.runsOn[ nameOf( link ) ].insert( nameOf( lower->second ) ).second )
            break;
      for ( std::string const& name : link.altNames )
         view.interfaces[ name ] = own;
   }
   view.defaultRoutes = dumpDefaultRoutes();
   return view;
}

} // namespace Ufdd
