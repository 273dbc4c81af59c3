#pragma once

#include <string>

namespace Ufdd {

class CommandLine;

// Adds the command "show [GROUP] [--json]", which prints the status of the groups of the ufdd that
// serves `socket`.
// Borrows: socket, whose value is read when the command runs.
// The command throws: std::runtime_error when no ufdd serves the socket or there is no such group.
void addShow( CommandLine& line, std::string const& socket );

// Adds the command "watch [GROUP] [--json]", which prints the groups' transitions as they happen.
// Borrows: as above.
// The command throws: as above; but once it was connected, it waits for ufdd to come back.
void addWatch( CommandLine& line, std::string const& socket );

// Flushes standard output.
// Throws: std::runtime_error when that fails, such as on a full disk.
void requireOutput();

} // namespace Ufdd
