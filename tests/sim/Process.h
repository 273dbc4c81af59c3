#pragma once

#include "agent/Agent.h"
#include "agent/status/StatusServer.h"
#include "platform/zet/Clock.h"
#include "tests/sim/Machine.h"

#include <algorithm>
#include <poll.h>
#include <string>

namespace Simulation {

// The daemon while it runs, and the turns of its loop.
class Process {
 public:
   // The least, so that it is reached.
   static constexpr std::size_t unsentLimit = Zet::NboAttrLog::Out::smallestCapacity;

   Process( Machine& machine, std::string const& socket, Ufdd::Log& log )
       : agent( machine.kernel, machine.kernel, machine.store, log ),
         server( socket, agent.status(), log, unsentLimit ), kernel_( machine.kernel ) {}

   // Of the next turn.
   double nextTime() const {
      if ( kernel_.hasNews() || isAskedForStatus() )
         return Zet::now();
      return std::min(
          { agent.nextTime(), server.nextTime().value_or( Ufdd::Agent::never ), tickAt_ } );
   }
   // The first of what the loop finds to do, and what comes after that.
   void turn() {
      if ( Zet::now() >= tickAt_ ) {
         tickAt_ = Ufdd::Agent::never;
         agent.handleTick();
      } else if ( kernel_.hasNews() ) {
         kernel_.deliver();
      } else if ( isAskedForStatus() ) {
         handleClients();
      }
      endTurn();
      if ( agent.tickMs() == 0 )
         tickAt_ = Ufdd::Agent::never;
      else if ( tickAt_ == Ufdd::Agent::never )
         tickAt_ = Zet::now() + agent.tickMs() / 1000.0;
   }

   void endTurn() {
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
      // So that sockets take little.
      constexpr int size = 1;
      for ( auto const& client : server.clients() )
         setsockopt( client->fd(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size );
   }

   Ufdd::SimulatedKernel& kernel_;
   double tickAt_ = Ufdd::Agent::never;
};

} // namespace Simulation
