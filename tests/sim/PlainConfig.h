#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Simulation {

using Names = std::set< std::string >;

struct PlainGroup {
   std::string name;
   Names monitor = {};
   Names disable = {};
   unsigned int minLinks = 1;
   unsigned int recoveryDelay = 0;
   unsigned int downDelay = 0;
   bool dryRun = false;
};

// What the daemon is configured to do.
struct PlainConfig {
   // One of many, each the same whenever it is asked for. Groups may depend on each other's ports,
   // but not in a circle.
   static PlainConfig ofNumber( std::uint64_t number );

   std::string toml() const;

   std::vector< PlainGroup > groups;
   unsigned int startupHold = 0;
   bool isLayered = false; // A group depends on a port of another.
   bool asks = true;       // After news, whether there are more that are held back.
};

} // namespace Simulation
