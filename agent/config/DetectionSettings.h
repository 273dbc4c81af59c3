#pragma once

#include <cstdint>

namespace Ufdd {

// How the uplinks are watched, for all groups.
struct DetectionSettings {
   enum class Mode {
      events, // Only waits for messages, which the kernel may delay for a second.
      verify, // Also queries the uplinks, for a while after any message.
      poll,   // Also queries the uplinks all the time.
   };
   static constexpr std::uint32_t maxIntervalMs = 1000;

   Mode mode = Mode::verify;
   std::uint32_t intervalMs = 2; // Milliseconds between two queries; 1 to maxIntervalMs.
};

} // namespace Ufdd
