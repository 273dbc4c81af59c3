#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/InterfaceName.h"

#include <optional>

namespace Ufdd {

// Asks how an interface is without a message to the kernel, in the network namespace that the
// process was in when this was made. Takes a microsecond or two.
class LinkProbe {
 public:
   // Throws: std::system_error when there is no socket to ask with.
   LinkProbe();

   // As its driver says; none when that doesn't tell, or when there is no such interface. Where the
   // kernel was owned news of the interface back, they are on their way after it.
   std::optional< bool > carrier( InterfaceName const& name ) const;
   // None when there is no such interface.
   std::optional< bool > isAdminUp( InterfaceName const& name ) const;

 private:
   Descriptor fd_;
};

} // namespace Ufdd
