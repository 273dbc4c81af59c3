#pragma once

#include "agent/config/CheckSettings.h"
#include "agent/config/DetectionSettings.h"
#include "agent/config/GroupSettings.h"
#include "agent/config/SystemView.h"
#include "agent/kernel/LinkSource.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The contents of a configuration file, with all errors in it.
struct ConfigFile {
   std::vector< GroupSettings > groups; // In the order of the file.
   std::vector< CheckSettings > checks; // In the order of the file.
   // In seconds: how long failures of all checks at once don't count. 0 counts them at once.
   double massFailureDelay = 30;
   DetectionSettings detection;
   std::uint32_t protoDownReason = Link::usualReason; // The number of our bit.
   double startupHold = 10;                           // In seconds.
   std::vector< std::string > protect;                // Names of interfaces that are never shut.
   // In the order of the file: "FILE:LINE:COLUMN: " and what is wrong. If there are errors, the
   // settings above must not be used.
   std::vector< std::string > errors;
   // In the order of the file: "FILE:LINE:COLUMN: warning: " or "note: " and the consequence.
   std::vector< std::string > warnings;
   bool hasWarnings = false;   // Beside the notes.
   std::uint32_t checksum = 0; // Of the text, as the command cksum prints it.
   std::string text;           // The whole file.
};

// Parses the text. `file` names it in errors. If `system` is not null, checks the groups against
// it as well.
ConfigFile parseConfig( std::string_view text, std::string_view file,
                        SystemView const* system = nullptr );

// Reads and parses the file. A file that can't be read is an error in the result.
ConfigFile readConfig( std::string const& file, SystemView const* system = nullptr );

// Reads the file and checks it against this machine. If the machine's interfaces can't be listed,
// that is a warning in the result.
ConfigFile readConfigOfThisMachine( std::string const& file );

} // namespace Ufdd
