#pragma once

#include <string>

namespace Ufdd {

class CommandLine;

// Adds the commands that read the status of the ufdd that serves `socket`: show, which is the
// default, explain, what-if, watch, wait and metrics.
// Borrows: socket, whose value is read when a command runs.
// The commands throw: Failure.
void addStatusCommands( CommandLine& line, std::string const& socket );

// Flushes standard output.
// Throws: Failure when that fails, such as on a full disk.
void requireOutput();

} // namespace Ufdd
