#pragma once

#include "tests/sim/Machine.h"
#include "tests/sim/Oracle.h"
#include "tests/sim/PlainConfig.h"
#include "tests/sim/Process.h"
#include "tests/sim/Readers.h"

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
   void line( std::string_view text ) override;
   // Does it, unless the daemon is killed in the middle of it.
   template < class Action > void run( Action action );
   void start();
   void kill();
   // With a line more that makes it wrong.
   void reload( PlainConfig const& config, std::string const& more = "" );
   void turn();
   void pass( double seconds );
   void checkMemory();
   void checkStatus( Oracle const& oracle );
   double nextTime() const;
   void storm( Event const& event );
   void rest();
   void check( Oracle const& oracle );
   void change();
   void restart();
   void flap( std::string const& uplink );
   void stop();
   void complain( std::string const& what );

   // Zet::now() is simulated for as long as this exists: all else lives by it.
   struct Clock {
      Clock();
      ~Clock();
   };

   Clock const clock_;
   std::uint64_t const seed_;
   Machine machine_;
   PlainConfig config_;
   std::optional< Process > process_;
   double suspendedUntil_ = 0;
   double startupEnd_ = 0;
   bool isRefused_ = false;      // The configuration that was to be loaded last.
   unsigned int toldLosses_ = 0; // Of those of the kernel.
   Readers readers_;
   unsigned int turns_ = 0;
   std::string complaint_;
   std::string story_;
};

} // namespace Simulation
