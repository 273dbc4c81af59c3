#pragma once

#include "agent/Agent.h"
#include "agent/CarrierWatch.h"
#include "agent/ConfigFile.h"
#include "tests/sim/Machine.h"
#include "tests/sim/Oracle.h"
#include "tests/sim/PlainConfig.h"

#include <optional>
#include <string>

namespace Simulation {

// The daemon on a machine, and time.
class World : private Ufdd::Log {
 public:
   explicit World( std::uint64_t seed );
   ~World() override;

   void apply( Event const& event );
   // Rests, has a look at what is wrong then, restarts the daemon, flaps uplinks, and stops it.
   void conclude();
   // What is wrong so far; empty when nothing is.
   std::string const& complaint() const { return complaint_; }
   // What happened.
   std::string const& story() const { return story_; }
   void forget();

 private:
   struct Process {
      explicit Process( World& world )
          : agent( world.machine_.kernel, world.machine_.ownership, world ),
            watch( agent.links(), world.machine_.kernel ) {}

      Ufdd::Agent agent;
      Ufdd::CarrierWatch watch;
      std::optional< double > tickAt;
   };

   void line( std::string_view text ) override;
   // Does it, unless the daemon is killed in the middle of it.
   template < class Action > void run( Action action );
   void start();
   void kill();
   void reload( std::uint64_t number );
   void turn();
   void pass( double seconds );
   void checkMemory();
   double nextTime() const;
   void rest();
   void check( Oracle const& oracle );
   void restart();
   void flap( std::string const& uplink );
   void stop();
   void complain( std::string const& what );

   std::uint64_t const seed_;
   Machine machine_;
   PlainConfig config_;
   std::optional< Process > process_;
   double suspendedUntil_ = 0;
   double startupEnd_ = 0;
   unsigned int turns_ = 0;
   std::string complaint_;
   std::string story_;
};

} // namespace Simulation
