#pragma once

#include "agent/ports/OwnedLinkStore.h"

#include <optional>
#include <string>

namespace Ufdd {

// One of our links as a line of the record: "held" or "overridden", its index, by what means it is
// shut, its hardware address and its name. The means "protodown" and "reason" (only our bit was
// added to somebody else's protodown) carry the number of our bit.
//
//    held 7 down 2a1b2c3d4e5 eth1
//    held 9 protodown:5 2a1b2c3d4e6 eth2
std::string lineOf( OwnedLink const& owned );
// Returns nothing for any other line.
std::optional< OwnedLink > readOwnedLink( std::string const& line );

} // namespace Ufdd
