#pragma once

#include "agent/ctl/Screen.h"
#include "agent/ctl/View.h"

namespace Ufdd {

// Each returns a screen with the notices, and then:

// a block for each group:
//
//    rack1  DOWN  0/2 up, needs 1   since 12:30:00.123 (12 s)
//      uplinks  uplink1  no carrier, 12 s    uplink2  no carrier, 13 s
//      ports    server1  shut (down), 12 s    server2  overridden by hand, 4 s
//
// Of many links or ports in order, it shows only the number.
std::string groupsScreen( View const& view, Colours colours );
// a line for each group.
std::string briefScreen( View const& view, Colours colours );
// a table of all ports, with the groups that need each shut.
std::string portsScreen( View const& view, Colours colours );
// a table of all links, with the groups that monitor each.
std::string linksScreen( View const& view, Colours colours );
// a table of all checks, with the uplinks of each.
std::string checksScreen( View const& view, Colours colours );
// a table of what ufdd tells of itself: its version and file, counters, and reaction times.
std::string agentScreen( View const& view, Colours colours );

} // namespace Ufdd
