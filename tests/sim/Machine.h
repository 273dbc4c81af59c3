#pragma once

#include "agent/Agent.h"
#include "tests/agent/BootStoreInMemory.h"
#include "tests/agent/OrdersInMemory.h"
#include "tests/agent/SettingsInMemory.h"
#include "tests/agent/SimulatedKernel.h"
#include "tests/agent/StoreInMemory.h"
#include "tests/sim/Schedule.h"
#include "tests/sim/StaticRoutes.h"

#include <deque>
#include <set>
#include <string>

namespace Simulation {

// Thrown to end the daemon at any point.
struct Killed {};

// The daemon's surroundings: the links, the record of those that are its own, and what others do to
// them.
class Machine {
 public:
   Machine();

   // Applies an event that needs no daemon; ignores others.
   void apply( Event const& event );
   // Applies the event later, in the midst of something that the daemon does.
   void applyMeanwhile( Event const& event ) { races_.push_back( event ); }
   // Applies the events left by applyMeanwhile() and ends all faults.
   void endFaults();
   // The daemon was killed and opened nothing. The next one believes the record, even about links
   // that others have shut.
   void handleKilled();
   // The next daemon can put back only what is recorded.
   void forgetUnrecordedRoutes();

   // Has the default route leave by that link, or by none if there is no such link.
   void routeIs( std::uint32_t link );
   // Returns true if the link, or the LAG that it belongs to, carries the default route.
   bool carriesRoute( Ufdd::SimulatedLink const& link ) const {
      return route != 0 && ( link.index == route || link.master == route );
   }
   // The machine boots. The carrier of each link is a bit of `carriers`.
   void boot( unsigned int carriers );
   // Returns the number of events that happened in the midst of something.
   unsigned int races() const { return raceCount_; }
   // Returns the link that has that name, or null.
   Ufdd::SimulatedLink const* find( std::string const& name ) const;
   // Returns the links that the daemon keeps shut.
   std::set< std::string > shutLinks() const;

   // Returns the names of the links that are up.
   std::set< std::string > upLinks() const;
   // Notes which links are up. Call whenever they may have changed.
   void look();
   // Notes only how the links are now.
   void lookAnew() { upOnce = upAlways = upLinks(); }

   // Returns the record of that link, or null.
   Ufdd::OwnedLink const* recorded( Ufdd::Link const& link ) const;

   // Returns the names of uplinks whose check the next daemon will count as down.
   std::set< std::string > recordedFailed() const;

   // Returns true if acts on the link are done, but answered with an error.
   static bool losesAnswers( Ufdd::SimulatedLink const& link );

   // Returns true if the next daemon would put the route back once the link is open.
   bool isOwed( std::uint32_t link, StaticRoutes::Kept const& kept ) const;

   // Returns true if links may be ours that are not recorded.
   bool lacksRecord() const { return store.hasFailed || store.wasRemoved; }

   Ufdd::SimulatedKernel kernel;
   StaticRoutes routes{ kernel.violations };
   std::uint32_t route = 0; // The index of the link by which the default route leaves; or 0.
   Ufdd::SettingsInMemory settings;
   Ufdd::StoreInMemory store;
   double recordCheckAt = Ufdd::never; // When the daemon notices that the record is gone.
   Ufdd::BootStoreInMemory bootStore;
   Ufdd::OrdersInMemory orders;
   // The indexes of the links that an operator may have cleared.
   std::set< std::uint32_t > cleared;
   // The names of links that the daemon knows to have existed since the machine booted.
   std::set< std::string > proven;
   // The names of links that were up at some time since lookAnew(), and at all times.
   std::set< std::string > upOnce, upAlways;
   // The names of uplinks whose check counts as down.
   std::set< std::string > failed;
   // The names of the groups that need their recover_links to be up, as the daemon has told last.
   std::set< std::string > fallen;

 private:
   void race();
   void nameSafe( std::string const& name, bool on );
   std::string lag();
   void create( std::string const& name, unsigned int how );
   void admin( std::string const& name, bool up );
   void protoDown( std::string const& name, unsigned int how );

   std::deque< Event > races_;
   unsigned int raceCount_ = 0;
   std::map< std::string, std::uint32_t > indexes_; // The last index of each link, by name.
};

} // namespace Simulation
