#pragma once

#include "agent/kernel/LinkSource.h"
#include "agent/kernel/Route.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Ufdd {

// How the machine's interfaces belong together. A configuration is checked against this.
struct SystemView {
   // By any name of an interface, main or alternative: the main names of the interface and, if it
   // is a LAG (a bond or a team), of its members.
   std::map< std::string, std::set< std::string > > interfaces;
   // By the main name of an interface: the main names of all interfaces below it. A VLAN, for
   // example, runs on its device.
   std::map< std::string, std::set< std::string > > runsOn;
   std::vector< Link > links;
   std::vector< Route > defaultRoutes;

   // Returns the entry of `interfaces` for that name; or the name itself if no interface has it.
   std::set< std::string > interfacesOf( std::string const& name ) const {
      auto const at = interfaces.find( name );
      return at == interfaces.end() ? std::set< std::string >{ name } : at->second;
   }
   // Returns the main names of all links that carry a default route if `uplinks` are the main names
   // of the uplinks.
   std::set< std::string > defaultRouteLinks( std::set< std::string > const& uplinks ) const;
};

// Reads the view of the network namespace that the caller is in.
// Throws: std::system_error.
SystemView readSystem();

} // namespace Ufdd
