#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace Simulation {

// An event, and the pause until the next one.
struct Event {
   std::string_view verb;
   unsigned int a, b;  // Chooses the interface; chooses how.
   unsigned int pause; // An index in `pauses`.

   std::string text() const;
};
using Schedule = std::vector< Event >;

struct Pause {
   std::string_view name;
   double seconds;
};
// "race": the event meets the daemon in the midst of something. "none": the daemon sees the event
// together with the next one. Else the seconds that pass.
inline constexpr Pause pauses[] = { { "race", 0 },      { "none", 0 },      { "turn", 0 },
                                    { "blink", 0.001 }, { "moment", 0.06 }, { "second", 0.7 },
                                    { "seconds", 4 },   { "minute", 40 } };
inline constexpr unsigned int race = 0;
inline constexpr unsigned int none = 1;

inline std::string
Event::text() const {
   return std::string( verb ) + "(" + std::to_string( a ) + "," + std::to_string( b ) + ") " +
          std::string( pauses[ pause ].name );
}

inline Schedule
randomSchedule( std::uint64_t seed ) {
   struct Kind {
      std::string_view verb;
      unsigned int weight;
   };
   static constexpr Kind kinds[] = {
      { "cable", 30 },  { "dormant", 2 },  { "admin", 14 },     { "protoDown", 5 }, { "slip", 3 },
      { "remove", 7 },  { "create", 14 },  { "rename", 5 },     { "join", 6 },      { "refuse", 6 },
      { "overrun", 4 }, { "fullDisk", 3 }, { "loseRecord", 3 }, { "kill", 6 },      { "stop", 2 },
      { "start", 5 },   { "suspend", 3 },  { "reload", 5 },     { "badReload", 1 }, { "rest", 2 },
      { "fight", 4 },   { "connect", 4 },  { "read", 3 },       { "leave", 1 },     { "squat", 2 },
      { "storm", 1 },   { "deaf", 2 },     { "protect", 5 },    { "route", 8 },     { "boot", 2 },
      { "steer", 12 },  { "report", 10 },
   };
   static std::vector< std::string_view > const verbs = [] {
      std::vector< std::string_view > all;
      for ( Kind const& kind : kinds )
         all.insert( all.end(), kind.weight, kind.verb );
      return all;
   }();
   std::mt19937_64 random( seed );
   auto const number = [ & ] { return static_cast< unsigned int >( random() % 1024 ); };
   Schedule schedule( 10 + random() % 40 );
   // Half of the events concern the same few interfaces.
   unsigned int const few[] = { number(), number(), number() };
   for ( Event& event : schedule )
      event = { verbs[ random() % verbs.size() ],
                random() % 2 ? number() : few[ random() % std::size( few ) ], number(),
                static_cast< unsigned int >( random() % std::size( pauses ) ) };
   return schedule;
}

} // namespace Simulation
