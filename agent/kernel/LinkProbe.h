#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/InterfaceName.h"

#include <optional>

namespace Ufdd {

// Asks for the state of an interface by ioctl, which takes a microsecond or two. The interfaces are
// those of the network namespace that the process was in when this was made.
class LinkProbe {
 public:
   // Throws: std::system_error when there is no socket to ask with.
   LinkProbe();

   // Returns what the driver says, or nothing when it doesn't say or there is no such interface. If
   // the kernel was delaying a message about the interface, it sends that message now.
   std::optional< bool > carrier( InterfaceName const& name ) const;
   // Returns nothing when there is no such interface.
   std::optional< bool > isAdminUp( InterfaceName const& name ) const;

 private:
   Descriptor fd_;
};

} // namespace Ufdd
