#pragma once

#include "agent/base/InterfaceName.h"
#include "agent/config/ConfigFile.h"
#include "agent/detect/BootStore.h"
#include "agent/kernel/LinkSource.h"
#include "agent/kernel/RouteSource.h"
#include "agent/orders/OrderStore.h"
#include "agent/ports/OwnedLinkStore.h"

#include <string>
#include <vector>

namespace Ufdd {

// What ufdd would do to this machine now if it ran with a configuration.
struct Forecast {
   // For each port of the configuration, and each that would be opened: "port d1 would be shut: "
   // or the like, and why.
   std::vector< std::string > ports;
   // The alarms that ufdd would log.
   std::vector< std::string > alarms;
   // The links that are shut, or would be when their groups go down.
   std::vector< InterfaceName > links;
};

// Runs an agent that acts on nothing, until it would have acted for the first time, and with no
// delay before that. Recalls the records, which may be null, and changes nothing in them.
// Requires: the configuration has no error.
// Throws: whatever the source throws when the links can't be read.
Forecast forecast( ConfigFile const& config, LinkSource& source, RouteSource& routes,
                   OwnedLinkStore* record, BootStore* bootRecord, OrderStore* orders );

} // namespace Ufdd
