#pragma once

#include "agent/base/InterfaceName.h"
#include "agent/kernel/Route.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// The static addresses and routes of a link that the kernel drops when the link is set
// administratively down.
struct PortSettings {
   std::uint32_t index = 0;
   InterfaceName name;
   std::uint64_t address = 0; // Of the hardware, as in Link.
   // The kernel has dropped them because of our act: they are to be put back. Otherwise the link
   // still has them.
   bool isOwed = false;
   std::vector< LinkSetting > settings;

   bool operator==( PortSettings const& ) const = default;
};

// Keeps the settings of ports beyond the end of the process, however it ends.
class PortSettingsStore {
 public:
   virtual ~PortSettingsStore() = default;

   // Returns what was recorded since the machine booted, in this network namespace.
   virtual std::vector< PortSettings > recall() = 0;
   // Returns why recall() could not read all, and where the record is kept; or nothing.
   virtual std::string takeTrouble() { return {}; }
   // Makes the record exactly these. Returns an errno value.
   virtual int remember( std::span< PortSettings const > all ) = 0;
   // Looks whether the record was removed or replaced since the last remember().
   virtual bool isLost() { return false; }
   // Where the record is, for the log.
   virtual std::string place() const = 0;
};

} // namespace Ufdd
