#pragma once

#include "agent/kernel/Route.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Ufdd {

// The routes and addresses that ufdd needs to know, kept in step by messages. The kernel does not
// tell of IPv4 routes that it drops because their link or its last address is gone, nor, with
// net.ipv6.route.skip_notify_on_dev_down, of IPv6 routes whose link goes down: they are dropped
// here by the same rules.
class RouteTable {
 public:
   // The number of static routes that it keeps; later ones are left out.
   static constexpr std::size_t mostStaticRoutes = 20000;

   using Routes = std::unordered_multimap< Prefix, Route, Prefix::Hash >;
   using Addresses = std::unordered_multimap< std::uint32_t, LinkAddress >;

   // Adds a route, or brings the one with the same next hops up to date. If `replaces`, it takes
   // the place of all that are alike. A route that leads nowhere only takes their place.
   void insert( Route route, bool replaces );
   void erase( Route const& route );
   // Keeps an address of IPv6 only if it is static.
   void insert( LinkAddress address );
   void erase( LinkAddress const& address );
   // Call after a link was set administratively up or down.
   void handleLink( std::uint32_t link, bool isAdminUp );
   void handleLinkGone( std::uint32_t link );

   // Between these two calls, all routes and addresses are inserted that exist. Erases those that
   // were there before and were not inserted.
   void beginReading() { ++reading_; }
   void endReading();

   Routes const& routes() const { return routes_; }
   // The addresses, by link.
   Addresses const& addresses() const { return addresses_; }
   // Returns the static addresses of each of the links, then its static routes, in a fixed order.
   std::map< std::uint32_t, std::vector< LinkSetting > >
   settingsOf( std::unordered_set< std::uint32_t > const& links ) const;
   // Returns the links that have static addresses or routes, in order.
   std::vector< std::uint32_t > linksWithSettings() const;
   // Returns true if the link was seen going down, and not up since.
   bool isDown( std::uint32_t link ) const { return down_.contains( link ); }
   // Returns the settings of the link without routes that stay when the link is set
   // administratively down: they have a next hop on another link that is up.
   std::vector< LinkSetting > settingsThatGoWith( std::uint32_t link ) const;

   // Grows with each change.
   std::uint64_t version() const { return version_; }
   bool isFull() const { return isFull_; }

 private:
   template < class Condition > void eraseRoutesIf( Condition condition ) {
      version_ +=
          std::erase_if( routes_, [ & ]( auto& at ) { return condition( at.second ); } ) > 0;
   }

   enum class Hops { all, v4Only };
   // Marks the next hops on the link. Without one that lives, the kernel drops a route.
   void hopsAre( bool dead, std::uint32_t link, Hops which );
   bool forget( LinkAddress const& address );

   Routes routes_;
   Addresses addresses_;
   std::unordered_set< std::uint32_t > down_; // Links that were seen going down.
   std::uint32_t reading_ = 0;                // Counts the readings.
   std::uint64_t version_ = 0;
   bool isFull_ = false;
};

} // namespace Ufdd
