#pragma once

#include "agent/kernel/Prefix.h"

#include <linux/filter.h>

#include <span>
#include <vector>

namespace Ufdd {

// Returns a socket filter that passes only what ufdd needs of the kernel's messages: answers,
// IPv4 addresses and global ones of IPv6, links that are administratively down or become so or up,
// static routes, default routes of the main table, and routes of the main table to one of the
// prefixes, and by chance few others. A router with a million other routes then costs ufdd nothing.
std::vector< sock_filter > routeFilter( std::span< Prefix const > prefixes );

} // namespace Ufdd
