#pragma once

#include "agent/base/Descriptor.h"

#include <cstdint>

namespace Ufdd {

// A clock that ticks while it is on: fd() is readable from each tick until take(). Costs less than
// a timer that is set again each time, and doesn't drift.
class Ticker {
 public:
   // It is off. Throws: std::system_error when the system has none, as intervalIs() does.
   Ticker();

   int fd() const { return fd_.fd(); }
   // 0 stops it.
   void intervalIs( std::uint32_t milliseconds );
   void take();

 private:
   Descriptor fd_;
   std::uint32_t milliseconds_ = 0;
};

} // namespace Ufdd
