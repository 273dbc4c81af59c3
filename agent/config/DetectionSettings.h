#pragma once

#include <cstdint>

namespace Ufdd {

// How the uplinks are watched, for all groups.
struct DetectionSettings {
   enum class Mode {
      events, // Only hears the kernel's news, which may be held back for a second.
      verify, // Also asks, for a while after any news.
      poll,   // Also asks all the time.
   };
   static constexpr std::uint32_t maxIntervalMs = 1000;

   Mode mode = Mode::verify;
   std::uint32_t intervalMs = 2; // Between two times of asking; 1 to maxIntervalMs.
};

} // namespace Ufdd
