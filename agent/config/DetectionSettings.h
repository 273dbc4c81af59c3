#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Ufdd {

// How the uplinks are watched, for all groups.
struct DetectionSettings {
   enum class Mode {
      events,    // Only waits for messages, which the kernel may delay for a second.
      verify,    // Also queries the uplinks, for a while after any message.
      automatic, // As verify, and queries them less often at all other times.
      poll,      // Queries the uplinks all the time.
   };
   // Each mode as it is written in the file.
   static constexpr std::array< std::pair< std::string_view, Mode >, 4 > modes{
      { { "auto", Mode::automatic },
        { "verify", Mode::verify },
        { "poll", Mode::poll },
        { "events", Mode::events } }
   };
   static constexpr std::uint32_t maxIntervalMs = 1000;

   Mode mode = Mode::automatic;
   constexpr std::string_view modeText() const {
      for ( auto const& [ text, named ] : modes )
         if ( named == mode )
            return text;
      return {};
   }
   // Milliseconds between two queries; 1 to maxIntervalMs.
   std::uint32_t intervalMs = 2;
   std::uint32_t idleIntervalMs = 10; // For `automatic`, while no message comes.

   bool operator==( DetectionSettings const& ) const = default;
};

} // namespace Ufdd
