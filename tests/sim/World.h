#pragma once

#include "tests/sim/FallenGroups.h"
#include "tests/sim/Machine.h"
#include "tests/sim/Oracle.h"
#include "tests/sim/PlainConfig.h"
#include "tests/sim/Process.h"
#include "tests/sim/Readers.h"
#include "tests/sim/Restraint.h"

#include <optional>
#include <string>

namespace Simulation {

// The daemon on a machine, and time.
class World : private Ufdd::Log {
 public:
   explicit World( std::uint64_t seed );
   ~World() override;

   void apply( Event const& event );
   // Rests and checks all, restarts the daemon, flaps uplinks, and stops the daemon.
   void conclude();
   // Returns the first thing that was wrong, or nothing.
   std::string const& complaint() const { return complaint_; }
   // Returns the events so far, with what the daemon logged.
   std::string const& story() const { return story_; }
   void forget();

 private:
   void line( std::string_view text ) override;
   // Runs the action. The daemon may be killed in the midst of it.
   template < class Action > void run( Action action );
   void start();
   void kill();
   // `more` is a further line that makes the configuration wrong.
   void reload( PlainConfig const& config, std::string const& more = "" );
   void turn();
   void pass( double seconds );
   Names sparedLinks();
   void checkRecord();
   void checkStatus( Oracle const& oracle );
   double nextTime() const;
   void storm( Event const& event );
   void steer( Event const& event );
   void report( Event const& event );
   std::string complaintAbout( Ufdd::ControlRequest const& request, Ufdd::ControlReply const& reply,
                               Ufdd::OrderBook const& before ) const;
   void rest();
   void check( Oracle const& oracle );
   void checkRoutes();
   void change();
   void restart();
   void flap( std::string const& uplink );
   void stop();
   void complain( std::string const& what );

   // Simulates Zet::now() while it exists. Constructed first, since all else uses that time.
   struct Clock {
      Clock();
      ~Clock();
   };

   Clock const clock_;
   std::uint64_t const seed_;
   Machine machine_;
   PlainConfig config_;
   Restraint restraint_{ config_, machine_ };
   FallenGroups fallenGroups_{ config_, machine_ };
   std::optional< Process > process_;
   double suspendedUntil_ = 0;
   bool isRefused_ = false;      // The daemon refused the last configuration.
   unsigned int toldLosses_ = 0; // Number of the kernel's losses that the daemon has logged.
   Readers readers_;
   unsigned int turns_ = 0;
   std::string complaint_;
   std::string story_;
};

} // namespace Simulation
