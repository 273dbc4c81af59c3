#pragma once

#include "agent/kernel/Route.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

struct nlmsghdr;

namespace Ufdd {

// Decodes a message about a route. Returns nothing for other messages, for routes of the table
// `local`, and for entries of the kernel's cache.
std::optional< Route > routeOf( nlmsghdr const& message );
// Decodes a message about an address. Returns nothing for other messages.
std::optional< LinkAddress > linkAddressOf( nlmsghdr const& message );

// Takes these next hops out of the route and its payload. Requires: others are left.
void eraseHops( Route& route, std::vector< RouteHop > const& hops );

// Returns a request, with that sequence number, that adds the setting unless there is one like it.
// Empty if the payload can't be read.
std::vector< std::byte > additionOf( LinkSetting const& setting, std::uint32_t sequence );

// Returns the setting as arguments of the ip command: "route add 10.0.0.0/8 via 10.1.1.1 dev eth1".
// `nameOf` returns the name of the link of that index.
std::string commandText( LinkSetting const& setting,
                         std::function< std::string( std::uint32_t ) > const& nameOf );

} // namespace Ufdd
