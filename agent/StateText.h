#pragma once

#include "agent/base/WallTime.h"
#include "agent/status/StatusRoots.h"

#include <string>
#include <vector>

namespace Ufdd {

// Returns a line for each group, in the order of their names:
// "group a: down since 2026-03-01 12:30:00.123, 0/2 up, needs 1, went down 3 times: uplink u2 lost
// carrier; uplinks: u1 no carrier, u2 no carrier; ports: d1 shut (down)".
std::vector< std::string > stateLines( StatusRoots const& roots, Moment const& now );

// Returns "2 groups, 1 down; ports shut: 3; overridden: d1 d2"; and, if there are groups with
// unproven uplinks, says so.
std::string summaryLine( StatusRoots const& roots );

} // namespace Ufdd
