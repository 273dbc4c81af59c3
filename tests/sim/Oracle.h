#pragma once

#include "tests/sim/Machine.h"
#include "tests/sim/PlainConfig.h"

#include <string>

namespace Simulation {

// What is to be when nothing has happened for a while, told from the links themselves.
class Oracle {
 public:
   Oracle( PlainConfig const& config, Machine& machine ) : config_( config ), machine_( machine ) {}

   bool isDown( PlainGroup const& group ) const;
   // What is wrong about the links, or nothing.
   std::string complaint() const;
   // The interfaces that may be touched when that one loses carrier.
   Names touchedBy( std::string const& uplink ) const;
   // Whether others have opened it so often that the daemon may have given up.
   static bool isFoughtOver( Ufdd::SimulatedLink const& link );

 private:
   Ufdd::SimulatedLink const* find( std::string const& name ) const;
   // The interfaces that are to be shut for a port.
   Names linksOf( std::string const& port ) const;

   PlainConfig const& config_;
   Machine& machine_;
};

} // namespace Simulation
