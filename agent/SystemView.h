#pragma once

#include <map>
#include <set>
#include <string>

namespace Ufdd {

// What a configuration is checked against: how the machine's interfaces belong together.
struct SystemView {
   // The LAG (a bond or a team) that a port is a member of.
   std::map< std::string, std::string > lagOf;
   // The interfaces that the default route goes out of, and those that they run on: the device of
   // a VLAN, the members of a LAG or a bridge.
   std::set< std::string > defaultRoute;
};

// Of the network namespace that the caller is in.
// Throws: std::system_error.
SystemView readSystem();

} // namespace Ufdd
