#pragma once

#include <string>

namespace Ufdd {

struct CheckOptions {
   std::string configFile;
   std::string stateDirectory; // Where the record of a running ufdd is.
   bool isStrict = false;      // Warnings fail.
};

// Checks a configuration file, and prints what is wrong with it and what ufdd would do to this
// machine now if it ran with it. Changes nothing, and works beside a ufdd that runs and without
// privileges. Returns the exit status: EX_CONFIG if the file has errors; or warnings, if they fail.
int check( CheckOptions const& options );

} // namespace Ufdd
