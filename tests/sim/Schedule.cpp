#include "tests/sim/Schedule.h"

#include <random>

namespace Simulation {

namespace {

struct Kind {
   Verb verb;
   char const* name;
   unsigned int weight;
};
constexpr Kind kinds[] = {
   { Verb::cable, "cable", 30 },    { Verb::dormant, "dormant", 2 },
   { Verb::admin, "admin", 14 },    { Verb::protoDown, "protoDown", 5 },
   { Verb::slip, "slip", 3 },       { Verb::remove, "remove", 7 },
   { Verb::create, "create", 14 },  { Verb::rename, "rename", 5 },
   { Verb::join, "join", 6 },       { Verb::refuse, "refuse", 6 },
   { Verb::overrun, "overrun", 4 }, { Verb::fullDisk, "fullDisk", 3 },
   { Verb::kill, "kill", 6 },       { Verb::stop, "stop", 2 },
   { Verb::start, "start", 5 },     { Verb::suspend, "suspend", 3 },
   { Verb::reload, "reload", 5 },   { Verb::badReload, "badReload", 1 },
   { Verb::rest, "rest", 2 },
};
constexpr char const* pauses[] = { "race",   "none",   "turn",    "blink",
                                   "moment", "second", "seconds", "minute" };

} // namespace

Schedule
randomSchedule( std::uint64_t seed ) {
   static std::vector< Verb > const verbs = [] {
      std::vector< Verb > all;
      for ( Kind const& kind : kinds )
         all.insert( all.end(), kind.weight, kind.verb );
      return all;
   }();
   std::mt19937_64 random( seed );
   auto const number = [ & ] { return static_cast< unsigned int >( random() % 1024 ); };
   Schedule schedule( 10 + random() % 40 );
   // Much happens to a few.
   unsigned int const few[] = { number(), number(), number() };
   for ( Event& event : schedule )
      event = { verbs[ random() % verbs.size() ],
                static_cast< Pause >( random() % std::size( pauses ) ),
                random() % 2 ? number() : few[ random() % std::size( few ) ], number() };
   return schedule;
}

std::string
textOf( Event const& event ) {
   std::string text;
   for ( Kind const& kind : kinds )
      if ( kind.verb == event.verb )
         text = kind.name;
   return text + "(" + std::to_string( event.a ) + "," + std::to_string( event.b ) + ")" +
          pauses[ static_cast< std::size_t >( event.pause ) ];
}

} // namespace Simulation
