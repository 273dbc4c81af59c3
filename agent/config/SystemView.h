#pragma once

#include <map>
#include <set>
#include <string>

namespace Ufdd {

// What a configuration is checked against: how the machine's interfaces belong together.
struct SystemView {
   // By each of its names, alternative ones as well: an interface, and the members of one that is
   // a LAG (a bond or a team), by the name that each mainly has.
   std::map< std::string, std::set< std::string > > interfaces;
   // By the name that an interface mainly has: the devices that it runs on, and these in their
   // turn, as a VLAN does.
   std::map< std::string, std::set< std::string > > runsOn;
   // The interfaces that the default route goes out of, and those that they run on: the device of
   // a VLAN, the members of a LAG or a bridge.
   std::set< std::string > defaultRoute;

   // What is meant by a name; one that no interface has means itself.
   std::set< std::string > interfacesOf( std::string const& name ) const {
      auto const at = interfaces.find( name );
      return at == interfaces.end() ? std::set< std::string >{ name } : at->second;
   }
};

// Of the network namespace that the caller is in.
// Throws: std::system_error.
SystemView readSystem();

} // namespace Ufdd
