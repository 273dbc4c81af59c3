#pragma once

#include "agent/kernel/LinkSource.h"
#include "agent/kernel/Route.h"

#include <cstdint>
#include <map>
#include <vector>

namespace Ufdd {

// These read, once, the network namespace that the caller is in.
// Throws: std::system_error when the kernel refuses that or does not answer.

// Returns all links, by index.
std::map< std::uint32_t, Link > dumpLinks();
// Returns the default routes of the main table among the first routes that the kernel lists. It
// lists that of IPv4 early. A router may have a million more, and the caller waits.
std::vector< Route > dumpDefaultRoutes();

} // namespace Ufdd
