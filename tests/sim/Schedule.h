#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Simulation {

// What can happen. `a` tells to which interface or how, `b` how.
enum class Verb {
   // To interfaces.
   cable,
   dormant,
   admin,
   protoDown,
   slip,
   remove,
   create,
   rename,
   join,
   refuse,
   // To the daemon's surroundings.
   overrun,
   fullDisk,
   // To the daemon.
   kill,
   stop,
   start,
   suspend,
   reload,
   badReload,
   // Faults end, time passes, and everything is checked.
   rest
};

// And how long nothing else happens after that.
enum class Pause { race, none, turn, blink, moment, second, seconds, minute };

struct Event {
   Verb verb;
   Pause pause;
   unsigned int a, b;
};
using Schedule = std::vector< Event >;

Schedule randomSchedule( std::uint64_t seed );
std::string textOf( Event const& event );

} // namespace Simulation
