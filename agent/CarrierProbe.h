#pragma once

#include "agent/InterfaceName.h"

#include <optional>

namespace Ufdd {

// Asks drivers, in the network namespace that the process was in when this was made.
class CarrierProbe {
 public:
   // Throws: std::system_error when there is no socket to ask with.
   CarrierProbe();
   ~CarrierProbe();
   CarrierProbe( CarrierProbe const& ) = delete;
   CarrierProbe& operator=( CarrierProbe const& ) = delete;

   // None when the driver doesn't tell, or when there is no such interface. Takes a microsecond,
   // and where the kernel was holding news of the interface back, they are on their way after it.
   std::optional< bool > carrier( InterfaceName const& name ) const;

 private:
   int fd_;
};

} // namespace Ufdd
