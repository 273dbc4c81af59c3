#pragma once

#include "agent/config/DetectionSettings.h"
#include "agent/config/GroupSettings.h"
#include "agent/config/SystemView.h"
#include "agent/kernel/LinkSource.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// What a configuration file says. Everything that is wrong with it is found in one go.
struct ConfigFile {
   std::vector< GroupSettings > groups; // In the order of the file.
   DetectionSettings detection;
   std::uint32_t protoDownReason = Link::usualReason; // The number of our bit.
   double startupHold = 0;                            // In seconds.
   // In the order of the file, each "FILE:LINE:COLUMN: what was expected". The rest counts only
   // when there are none.
   std::vector< std::string > errors;
   // Likewise, each "FILE:LINE:COLUMN: warning: what will come of it", or "note: what may".
   std::vector< std::string > warnings;
};

// `file` is how the errors call the text. With a system, it is checked against that as well.
ConfigFile parseConfig( std::string_view text, std::string_view file,
                        SystemView const* system = nullptr );

// A file that can't be read is an error of the configuration as well.
ConfigFile readConfig( std::string const& file, SystemView const* system = nullptr );

// The same, checked against this machine. That it can't be is a warning.
ConfigFile readConfigOfThisMachine( std::string const& file );

} // namespace Ufdd
