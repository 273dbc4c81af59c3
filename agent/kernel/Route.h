#pragma once

#include "agent/kernel/Prefix.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Ufdd {

// A next hop of a route.
struct RouteHop {
   std::uint32_t link = 0;                   // The index of the link that it leaves by; 0 if none.
   bool isV6 = false;                        // Of the gateway.
   std::array< std::uint8_t, 16 > gateway{}; // Zero if there is none.
   bool isDead = false;                      // Its link is administratively down.

   bool isSame( RouteHop const& other ) const {
      return link == other.link && isV6 == other.isV6 && gateway == other.gateway;
   }
};

inline bool
contains( std::vector< RouteHop > const& hops, RouteHop const& hop ) {
   return std::any_of( hops.begin(), hops.end(),
                       [ & ]( RouteHop const& other ) { return hop.isSame( other ); } );
}

// A route of the kernel, as its last message describes it.
struct Route {
   Prefix to;
   std::uint32_t table = 0;
   std::uint32_t metric = 0;
   std::uint8_t tos = 0;
   bool isInMain = false;  // In the main table.
   bool isUnicast = false; // It leads to its next hops.
   // Set by an operator or a script, and nobody brings it back when the kernel drops it: its
   // protocol is `boot` (the default of the ip command) or `static`, and it does not expire.
   bool isStatic = false;
   bool hasSource = false; // A preferred source address, which may be of another link.
   std::array< std::uint8_t, 16 > source{};
   std::vector< RouteHop > hops; // In order of their links.
   // The rtmsg and the attributes.
   std::vector< std::byte > payload;
   std::uint32_t reading = 0; // Used by RouteTable.

   bool isDefault() const { return to.length == 0 && isInMain && isUnicast; }
   // Returns true if the kernel tells the two apart only by their next hops.
   bool isAlike( Route const& other ) const {
      return to == other.to && table == other.table && metric == other.metric && tos == other.tos;
   }
   bool leavesBy( std::uint32_t link ) const {
      return std::any_of( hops.begin(), hops.end(),
                          [ = ]( RouteHop const& hop ) { return hop.link == link; } );
   }
};

// An address of a link, as its last message describes it.
struct LinkAddress {
   std::uint32_t link = 0;
   Prefix prefix; // With all bits of the address.
   // A permanent and global one of IPv6. The kernel drops it when its link is set administratively
   // down, and nobody brings it back.
   bool isStatic = false;
   // The ifaddrmsg and the attributes.
   std::vector< std::byte > payload;
   std::uint32_t reading = 0; // Used by RouteTable.

   bool isSame( LinkAddress const& other ) const {
      return link == other.link && prefix == other.prefix;
   }
};

// An address or a static route of a link, to be put back. The kernel gets the attributes that it
// told of once.
struct LinkSetting {
   bool isRoute = false;
   std::vector< std::byte > payload; // As in Route and LinkAddress.

   auto operator<=>( LinkSetting const& ) const = default; // NOLINT(modernize-use-nullptr)
};

} // namespace Ufdd
