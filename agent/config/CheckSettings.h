#pragma once

#include "agent/config/Findings.h"
#include "agent/kernel/Prefix.h"
#include "platform/kelnet/IntfId.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ufdd {

// One check as configured: a condition of uplinks beside their carrier.
struct CheckSettings {
   enum class Kind {
      reported,  // Results come by "ufdctl report".
      neighbour, // ufdd has the kernel ask a neighbour on the uplink.
      command,   // ufdd-checks runs a command and reports.
   };
   // Each kind as it is written in the file.
   static constexpr std::array< std::pair< std::string_view, Kind >, 3 > kinds{
      { { "reported", Kind::reported },
        { "neighbour", Kind::neighbour },
        { "command", Kind::command } }
   };
   // How the uplinks count while the result is unknown.
   enum class OnUnknown { keep, up, down };
   static constexpr std::array< std::pair< std::string_view, OnUnknown >, 3 > unknowns{
      { { "keep", OnUnknown::keep }, { "up", OnUnknown::up }, { "down", OnUnknown::down } }
   };

   std::string name; // Without white space.
   Kind kind = Kind::reported;
   std::vector< Kelnet::IntfId > uplinks; // Of a neighbour check, one.
   unsigned int rise = 2;                 // Passes in a row that it takes to be up.
   unsigned int fall = 3;                 // Fails in a row that it takes to be down.
   bool startsUp = true;                  // Whether it counts as up until its first verdict.
   OnUnknown onUnknown = OnUnknown::keep;
   // In seconds. Without a report for that long, the result is unknown. Unused for neighbours.
   double ttl = 3;
   // In seconds, between the starts of two runs or probes, and for how long each may take.
   double interval = 1;
   double timeout = 0.8;
   std::optional< Prefix > address;    // Of the neighbour.
   std::vector< std::string > command; // And its arguments.

   // Set if the check was read from a file.
   Place place;
   NamePlaces uplinkPlaces;

   std::string_view kindText() const;
   // Returns true if the other check asks the same about the same uplinks, by whatever rules.
   bool asksAs( CheckSettings const& other ) const {
      return kind == other.kind && uplinks == other.uplinks && address == other.address &&
             command == other.command;
   }
};

} // namespace Ufdd
