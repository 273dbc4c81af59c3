#pragma once

#include "tests/agent/RememberedHere.h"
#include "tests/agent/SimulatedKernel.h"
#include "tests/sim/Schedule.h"

#include <deque>
#include <string>

namespace Simulation {

// Ends the daemon wherever it is.
struct Killed {};

// What the daemon runs on: links, the memory of what it owns, and what others do with them.
class Machine {
 public:
   Machine();

   // An event that needs no daemon; others do nothing.
   void apply( Event const& event );
   // The same, as soon as the daemon is in the midst of something.
   void applyMeanwhile( Event const& event ) { races_.push_back( event ); }
   // Whatever was to happen meanwhile has happened, and nothing fails any more.
   void endFaults();
   // The daemon ended without releasing anything. What it remembered of links that others shut
   // will be taken for true by the next one.
   void handleKilled();

   // What is remembered of a link, or null.
   Ufdd::OwnedLink const* remembered( Ufdd::Link const& link ) const;

   // Whether acts on it are done, but seem to fail.
   static bool losesAnswers( Ufdd::SimulatedLink const& link );

   Ufdd::SimulatedKernel kernel;
   Ufdd::RememberedHere store;

 private:
   void race();
   std::string lag();
   void create( std::string const& name, unsigned int how );
   void admin( std::string const& name, bool up );
   void protoDown( std::string const& name, unsigned int how );

   std::deque< Event > races_;
   std::map< std::string, std::uint32_t > indexes_; // That links had, by name.
};

} // namespace Simulation
