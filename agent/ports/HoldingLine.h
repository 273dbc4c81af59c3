#pragma once

#include "agent/ports/Ownership.h"

#include <optional>
#include <string>

namespace Ufdd {

// A holding as a line of text: whether it is "held" or "overridden", the index, the means, the
// hardware's address and the name. Of the means, "protodown" and "reason" (a protodown that is
// someone else's) have the number of our reason.
//
//    held 7 down 2a1b2c3d4e5 eth1
//    held 9 protodown:5 2a1b2c3d4e6 eth2
std::string lineOf( Holding const& holding );
// None when it is no such line.
std::optional< Holding > readHolding( std::string const& line );

} // namespace Ufdd
