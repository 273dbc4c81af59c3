#pragma once

#include <map>
#include <set>
#include <string>

namespace Ufdd {

// How the machine's interfaces belong together. A configuration is checked against this.
struct SystemView {
   // By any name of an interface, main or alternative: the main names of the interface and, if it
   // is a LAG (a bond or a team), of its members.
   std::map< std::string, std::set< std::string > > interfaces;
   // By the main name of an interface: the main names of all interfaces below it. A VLAN, for
   // example, runs on its device.
   std::map< std::string, std::set< std::string > > runsOn;
   // By main name: the interfaces that carry the default route, and all below them, such as the
   // device of a VLAN or the members of a LAG or a bridge. Each with the main names of all that
   // carry it instead if they are uplinks: the other members of its bridge, and all below them.
   std::map< std::string, std::set< std::string > > defaultRoute;

   // Returns the entry of `interfaces` for that name; or the name itself if no interface has it.
   std::set< std::string > interfacesOf( std::string const& name ) const {
      auto const at = interfaces.find( name );
      return at == interfaces.end() ? std::set< std::string >{ name } : at->second;
   }
};

// Reads the view of the network namespace that the caller is in.
// Throws: std::system_error.
SystemView readSystem();

} // namespace Ufdd
