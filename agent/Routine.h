#pragma once

#include "agent/Agent.h"
#include "agent/base/Log.h"
#include "agent/base/Troubles.h"
#include "agent/config/ConfigFile.h"
#include "agent/detect/CarrierWatch.h"
#include "agent/kernel/LinkSource.h"
#include "agent/status/StatusServer.h"

#include <cstdint>
#include <limits>
#include <string>

namespace Ufdd {

// What ufdd does turn after turn of a loop, whatever loop and whatever system that is.
class Routine {
 public:
   static constexpr double never = std::numeric_limits< double >::infinity();

   Routine( Agent& agent, LinkSource& source, StatusServer& statusServer, Log& log )
       : agent_( agent ), source_( source ), statusServer_( statusServer ), log_( log ),
         carrierWatch_( agent.links(), source ), troubles_( log ) {}

   // Throws: what Agent::start() does.
   void start( ConfigFile const& config );
   // Of that file. One that is wrong is told of, and changes nothing else.
   void reload( ConfigFile config, std::string const& file );
   // In which interval handleTick() is to be called; 0 when not at all.
   std::uint32_t tickMs() const { return carrierWatch_.tickMs(); }
   void handleTick() { carrierWatch_.handleTick(); }
   // The end of a turn: all that is known and due is acted on.
   void settle();
   // By when, on the clock of Zet::now(), settle() is to be called though nothing happens.
   double nextTime() const;
   // The agent's, and what is wrong with the configuration.
   std::string summary() const { return agent_.summary() + remark_; }

 private:
   static constexpr double readAgainPause = 1;

   void prepare( ConfigFile const& config );
   void watchUplinks( ConfigFile const& config );

   Agent& agent_;
   LinkSource& source_;
   StatusServer& statusServer_;
   Log& log_;
   CarrierWatch carrierWatch_;
   double startupHold_ = 0; // As last configured.
   std::string remark_;
   double readAgainAt_ = never; // While links are being read again.
   Troubles troubles_;          // Of the source.
};

} // namespace Ufdd
