#pragma once

#include "agent/Agent.h"
#include "platform/zet/Clock.h"
#include "tests/agent/BootStoreInMemory.h"
#include "tests/agent/OrdersInMemory.h"
#include "tests/agent/SettingsInMemory.h"
#include "tests/agent/SimulatedKernel.h"
#include "tests/agent/SimulatedRoutes.h"
#include "tests/agent/StoreInMemory.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

inline double simulatedNow = 0;

// An agent on simulated links.
class AgentTest : public testing::Test, public Log {
 protected:
   AgentTest() {
      simulatedNow = 1000;
      Zet::clockIs( [] { return simulatedNow; } );
      for ( char const* const name : { "u1", "u2", "d1", "d2" } )
         kernel.add( name );
   }
   ~AgentTest() override { Zet::clockIs( nullptr ); }
   void line( std::string_view text ) override { lines += std::string( text ) + '\n'; }

   // Returns a group whose ports are opened as soon as it is up.
   static GroupSettings group( std::string_view name,
                               std::initializer_list< std::string_view > monitor,
                               std::initializer_list< std::string_view > disable ) {
      GroupSettings settings( name, monitor, disable );
      settings.policy.recoveryDelay = 0;
      return settings;
   }
   // Without queries: a test decides when messages are delivered.
   ConfigFile config() const {
      ConfigFile file;
      file.groups = groups;
      file.startupHold = startupHold;
      file.checks = checks;
      file.detection.mode = DetectionSettings::Mode::events;
      return file;
   }
   void start() {
      agent->start( config() );
      runTurns();
   }
   // Kills the daemon and starts another one.
   void restart() {
      takeLines();
      agent.emplace( kernel, routes, kernel, store, settings, bootStore, orders, *this );
      start();
   }
   // Runs turns until the messages about the daemon's own acts are delivered.
   void runTurns() {
      for ( int i = 0; i < 3; ++i ) {
         kernel.deliver();
         agent->endTurn();
      }
   }
   void uplinkIs( std::string const& name, bool carrier ) {
      kernel.carrier( name, carrier );
      runTurns();
   }
   void uplinksAre( bool carrier ) {
      kernel.carrier( "u1", carrier );
      uplinkIs( "u2", carrier );
   }
   // Lets time pass, and wakes the agent when it asked for that.
   void pass( double seconds ) {
      double const end = simulatedNow + seconds;
      for ( double next = agent->nextTime(); next <= end; next = agent->nextTime() ) {
         simulatedNow = next;
         runTurns();
      }
      simulatedNow = end;
      runTurns();
   }
   std::string takeActs() { return std::exchange( kernel.acts, "" ); }
   std::string takeLines() { return std::exchange( lines, "" ); }

   SimulatedKernel kernel;
   SimulatedRoutes routes;
   StoreInMemory store;
   SettingsInMemory settings;
   BootStoreInMemory bootStore;
   OrdersInMemory orders;
   double startupHold = 0;
   std::string lines;
   std::vector< GroupSettings > groups{ group( "g", { "u1", "u2" }, { "d1", "d2" } ) };
   std::vector< CheckSettings > checks;
   std::optional< Agent > agent{ std::in_place, kernel,    routes, kernel, store,
                                 settings,      bootStore, orders, *this };
};

} // namespace Ufdd
