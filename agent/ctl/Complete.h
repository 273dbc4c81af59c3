#pragma once

#include <string>
#include <vector>

namespace Ufdd {

class CommandLine;

// Prints what the last word may become, a line each, for the completion of a shell.
// Prints nothing if that is unknown, or is the name of a file.
void complete( CommandLine const& line, std::string socket,
               std::vector< std::string > const& words );

} // namespace Ufdd
