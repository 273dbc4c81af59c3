#pragma once

#include "agent/DetectionSettings.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// One [[group]] of the configuration.
struct GroupSettings {
   std::string name;
   std::vector< std::string > monitor; // Uplinks.
   std::vector< std::string > disable; // Downstream ports.
   std::uint32_t minLinks = 1;
};

// What a configuration file says. Everything that is wrong with it is found in one go.
struct ConfigFile {
   std::vector< GroupSettings > groups; // In the order of the file.
   DetectionSettings detection;
   std::uint32_t protoDownReason = 5; // The number of our bit, 0 to 31.
   // In the order of the file, each "FILE:LINE:COLUMN: what was expected". The rest counts only
   // when there are none.
   std::vector< std::string > errors;
};

// `file` is how the errors call the text.
ConfigFile parseConfig( std::string_view text, std::string_view file );

// A file that can't be read is an error of the configuration as well.
ConfigFile readConfig( std::string const& file );

} // namespace Ufdd
