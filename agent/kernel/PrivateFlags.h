#pragma once

#include "agent/base/InterfaceName.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// A flag that only some drivers know, as "ethtool --show-priv-flags" lists it.
struct PrivateFlag {
   std::string name;
   bool isOn = false;

   bool operator==( PrivateFlag const& ) const = default;
};

// Asks the link's driver. Returns nothing if it has no such flags, or if there is no such link.
std::vector< PrivateFlag > readPrivateFlags( InterfaceName const& link );

// Returns the flags whose names are in `names`, ETH_GSTRING_LEN bytes each, and whose states are
// the bits of `states`.
std::vector< PrivateFlag > privateFlagsOf( std::span< char const > names, std::uint32_t states );

// The flag that makes the neighbour lose its link when this one is set down.
constexpr std::string_view darkeningFlag = "link-down-on-close";
// Returns true if the driver has that flag, but neither it nor another one of that effect is on.
bool staysLit( std::span< PrivateFlag const > flags );

} // namespace Ufdd
