#include "agent/kernel/RouteTable.h"

#include "agent/kernel/RouteMessage.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace Ufdd {

namespace {

bool
shareHop( Route const& left, Route const& right ) {
   return std::any_of( left.hops.begin(), left.hops.end(),
                       [ & ]( RouteHop const& hop ) { return contains( right.hops, hop ); } );
}

bool
isDead( Route const& route ) {
   return !route.hops.empty() && std::all_of( route.hops.begin(), route.hops.end(),
                                              []( RouteHop const& hop ) { return hop.isDead; } );
}

// Returns true if the kernel drops the route when the link goes down.
bool
goesWith( Route const& route, std::uint32_t link ) {
   return std::all_of( route.hops.begin(), route.hops.end(),
                       [ & ]( RouteHop const& hop ) { return hop.isDead || hop.link == link; } );
}

} // namespace

void
RouteTable::insert( Route route, bool replaces ) {
   auto const [ begin, end ] = routes_.equal_range( route.to );
   for ( auto at = begin; at != end; ) {
      Route const& other = at->second;
      bool const isReplaced =
          other.isAlike( route ) &&
          ( replaces || shareHop( other, route ) || ( other.hops.empty() && route.hops.empty() ) );
      at = isReplaced ? routes_.erase( at ) : std::next( at );
   }
   ++version_;
   if ( !route.isUnicast )
      return;
   if ( route.isStatic && !route.isDefault() && routes_.size() >= mostStaticRoutes ) {
      isFull_ = true;
      return;
   }
   route.reading = reading_;
   routes_.emplace( route.to, std::move( route ) );
}

void
RouteTable::erase( Route const& route ) {
   auto const [ begin, end ] = routes_.equal_range( route.to );
   for ( auto at = begin; at != end; ) {
      Route& known = at->second;
      bool isGone = known.isAlike( route ) && known.hops.empty() && route.hops.empty();
      // One IPv6 route loses its next hops message by message.
      if ( known.isAlike( route ) && shareHop( known, route ) ) {
         isGone = std::all_of( known.hops.begin(), known.hops.end(), [ & ]( RouteHop const& hop ) {
            return contains( route.hops, hop );
         } );
         if ( !isGone )
            eraseHops( known, route.hops );
      }
      version_ += known.isAlike( route );
      at = isGone ? routes_.erase( at ) : std::next( at );
   }
}

void
RouteTable::insert( LinkAddress address ) {
   forget( address );
   if ( !address.prefix.isV6 && !down_.contains( address.link ) )
      hopsAre( false, address.link, Hops::v4Only );
   if ( address.prefix.isV6 && !address.isStatic )
      return;
   ++version_;
   address.reading = reading_;
   addresses_.emplace( address.link, std::move( address ) );
}

// Returns true if the link has other addresses of IPv4.
bool
RouteTable::forget( LinkAddress const& address ) {
   auto const [ begin, end ] = addresses_.equal_range( address.link );
   bool hasOtherV4 = false;
   for ( auto at = begin; at != end; ) {
      bool const isSame = at->second.isSame( address );
      version_ += isSame;
      hasOtherV4 |= !isSame && !at->second.prefix.isV6;
      at = isSame ? addresses_.erase( at ) : std::next( at );
   }
   return hasOtherV4;
}

void
RouteTable::erase( LinkAddress const& address ) {
   bool const hasOtherV4 = forget( address );
   if ( address.prefix.isV6 )
      return;
   if ( !hasOtherV4 )
      hopsAre( true, address.link, Hops::v4Only );
   eraseRoutesIf( [ & ]( Route const& route ) {
      return !route.to.isV6 && route.isInMain && route.hasSource &&
             route.source == address.prefix.address;
   } );
}

void
RouteTable::handleLink( std::uint32_t link, bool isAdminUp ) {
   if ( isAdminUp )
      down_.erase( link );
   else
      down_.insert( link );
   hopsAre( !isAdminUp, link, Hops::all );
}

void
RouteTable::handleLinkGone( std::uint32_t link ) {
   down_.erase( link );
   hopsAre( true, link, Hops::all );
}

void
RouteTable::hopsAre( bool dead, std::uint32_t link, Hops which ) {
   for ( auto& [ to, route ] : routes_ )
      for ( RouteHop& hop : route.hops )
         if ( hop.link == link && hop.isDead != dead && !( which == Hops::v4Only && to.isV6 ) ) {
            hop.isDead = dead;
            ++version_;
         }
   if ( dead )
      eraseRoutesIf( [ & ]( Route const& route ) {
         return !( which == Hops::v4Only && route.to.isV6 ) && route.leavesBy( link ) &&
                isDead( route );
      } );
}

void
RouteTable::endReading() {
   auto const isOld = [ this ]( auto const& at ) { return at.second.reading != reading_; };
   version_ += std::erase_if( routes_, isOld ) > 0;
   version_ += std::erase_if( addresses_, isOld ) > 0;
}

std::map< std::uint32_t, std::vector< LinkSetting > >
RouteTable::settingsOf( std::unordered_set< std::uint32_t > const& links ) const {
   std::map< std::uint32_t, std::vector< LinkSetting > > settings;
   for ( auto const& [ link, address ] : addresses_ )
      if ( address.isStatic && links.contains( link ) )
         settings[ link ].push_back( { false, address.payload } );
   for ( auto const& [ to, route ] : routes_ )
      if ( route.isStatic )
         for ( auto hop = route.hops.begin(); hop != route.hops.end(); ++hop )
            // The hops are in order of their links; several may leave by one.
            if ( links.contains( hop->link ) &&
                 ( hop == route.hops.begin() || std::prev( hop )->link != hop->link ) )
               settings[ hop->link ].push_back( { true, route.payload } );
   for ( auto& [ link, list ] : settings )
      std::sort( list.begin(), list.end() );
   return settings;
}

std::vector< LinkSetting >
RouteTable::settingsThatGoWith( std::uint32_t link ) const {
   std::vector< LinkSetting > settings;
   auto const [ begin, end ] = addresses_.equal_range( link );
   for ( auto at = begin; at != end; ++at )
      if ( at->second.isStatic )
         settings.push_back( { false, at->second.payload } );
   for ( auto const& [ to, route ] : routes_ )
      if ( route.isStatic && route.leavesBy( link ) && goesWith( route, link ) )
         settings.push_back( { true, route.payload } );
   std::sort( settings.begin(), settings.end() );
   return settings;
}

std::vector< std::uint32_t >
RouteTable::linksWithSettings() const {
   std::set< std::uint32_t > links;
   for ( auto const& [ link, address ] : addresses_ )
      if ( address.isStatic )
         links.insert( link );
   for ( auto const& [ to, route ] : routes_ )
      if ( route.isStatic )
         for ( RouteHop const& hop : route.hops )
            links.insert( hop.link );
   return { links.begin(), links.end() };
}

} // namespace Ufdd
