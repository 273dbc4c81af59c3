#pragma once

#include "agent/Agent.h"
#include "agent/status/StatusServer.h"
#include "platform/zet/Clock.h"
#include "tests/sim/Machine.h"

#include <algorithm>
#include <cstdint>
#include <poll.h>
#include <string>

namespace Simulation {

// The daemon while it runs, and the turns of its loop.
class Process {
 public:
   // The smallest possible limit, so that the test reaches it.
   static constexpr std::size_t unsentLimit = Zet::NboAttrLog::Out::smallestCapacity;

   Process( Machine& machine, std::string const& socket, Ufdd::Log& log )
       : agent( machine.kernel, machine.routes, machine.kernel, machine.store, machine.settings,
                machine.bootStore, machine.orders, log ),
         server( socket, agent.roots(), log, unsentLimit ), machine_( machine ),
         kernel_( machine.kernel ) {}

   // The time of the next turn.
   double nextTime() const {
      if ( kernel_.hasMessages() || hasRouteNews() || isAskedForStatus() )
         return Zet::now();
      return std::min( { agent.nextTime(), server.nextTime().value_or( Ufdd::never ), tickAt_,
                         machine_.recordCheckAt } );
   }
   // Runs one handler that is due, and the end of the turn. Returns false if that was a tick
   // without news, whose turn needs no end.
   bool turn() {
      if ( Zet::now() >= tickAt_ ) {
         tickAt_ = Zet::now() + tickMs_ / 1000.0;
         if ( !agent.handleTick() && agent.nextTime() > Zet::now() )
            return false;
      } else if ( Zet::now() >= machine_.recordCheckAt ) {
         machine_.recordCheckAt = Ufdd::never;
         agent.checkRecord();
      } else if ( kernel_.hasMessages() ) {
         kernel_.deliver();
      } else if ( isAskedForStatus() ) {
         handleClients();
      }
      endTurn();
      if ( tickMs_ != agent.tickMs() ) {
         tickMs_ = agent.tickMs();
         tickAt_ = tickMs_ == 0 ? Ufdd::never : Zet::now() + tickMs_ / 1000.0;
      }
      return true;
   }

   // Returns true if the daemon has not had a turn since the routes changed.
   bool hasRouteNews() const { return routesVersion_ != machine_.routes.table().version(); }
   void endTurn() {
      routesVersion_ = machine_.routes.table().version();
      agent.endTurn();
      server.endTurn();
   }

   Ufdd::Agent agent;
   Ufdd::StatusServer server;

 private:
   bool isAskedForStatus() const {
      pollfd ready{ server.fd(), POLLIN, 0 };
      return poll( &ready, 1, 0 ) > 0;
   }
   void handleClients() {
      server.handleReady();
      // Small buffers, so that bytes wait for clients.
      constexpr int size = 1;
      for ( auto const& client : server.clients() )
         setsockopt( client->fd(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size );
   }

   Machine& machine_;
   Ufdd::SimulatedKernel& kernel_;
   std::uint64_t routesVersion_ = 0;
   std::uint32_t tickMs_ = 0;
   double tickAt_ = Ufdd::never;
};

} // namespace Simulation
