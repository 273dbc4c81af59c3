#pragma once

#include "agent/orders/Order.h"

#include <string>
#include <string_view>

namespace Ufdd {

// A line for each entry of the book. Spaces, control characters and "%" in a name are written as
// "%20", and a name or reason that is empty as "-":
//
//    disable group rack%201 uid 0 since 1234.567 until never reason replacing the switch
//    down port eth1 uid 1000 since 1300 until 8500 forced reason -
//    latched rack2 eth2
std::string orderLines( OrderBook const& book );

// Adds what the line says to the book. Returns false if it can't be read.
bool readOrderLine( std::string_view line, OrderBook& book );

} // namespace Ufdd
