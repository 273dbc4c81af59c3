#pragma once

#include "tests/sim/Machine.h"
#include "tests/sim/PlainConfig.h"

#include <string>
#include <utility>

namespace Simulation {

// What is to be when nothing has happened for a while, told from the links themselves.
class Oracle {
 public:
   Oracle( PlainConfig const& config, Machine& machine ) : config_( config ), machine_( machine ) {}

   // Since so many seconds it has been as it is now, and before that long enough like this.
   void changed( double seconds, Names downBefore ) {
      since_ = seconds;
      downBefore_ = std::move( downBefore );
   }
   bool isDown( PlainGroup const& group ) const;
   Names downGroups() const;
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

   // Whether it holds its ports.
   bool isHolding( PlainGroup const& group ) const;

   PlainConfig const& config_;
   Machine& machine_;
   double since_ = 1e9;
   Names downBefore_;
};

} // namespace Simulation
