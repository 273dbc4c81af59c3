#pragma once

#include "agent/base/Descriptor.h"

#include <cstdint>

namespace Ufdd {

// A periodic timer. fd() is readable from each tick until take(). Costs less than a timer that is
// set again each time, and does not drift.
class Ticker {
 public:
   // Makes a ticker that is off.
   // Throws: std::system_error, as the other operations do.
   Ticker();

   int fd() const { return fd_.fd(); }
   // Sets the interval; 0 stops the ticker.
   void intervalIs( std::uint32_t milliseconds );
   // Makes fd() unreadable until the next tick.
   void take();

 private:
   Descriptor fd_;
   std::uint32_t milliseconds_ = 0;
};

} // namespace Ufdd
