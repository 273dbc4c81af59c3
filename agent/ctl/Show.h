#pragma once

#include <string>

namespace Ufdd {

class CommandLine;

// Adds "show [GROUP] [--json]", which prints the status of the groups of the ufdd at that socket.
// Borrows: the path, which is known when the command is run.
// Throws, when it is run: std::runtime_error when there is no ufdd, or no such group.
void addShow( CommandLine& line, std::string const& socket );

// Adds "watch [GROUP] [--json]", which prints the groups' transitions from then on.
// Throws, when it is run: as above; but once it was connected, it waits for ufdd to come back.
void addWatch( CommandLine& line, std::string const& socket );

// Writes out what was printed.
// Throws: std::runtime_error when it can't be written, as on a full disk.
void requireOutput();

} // namespace Ufdd
