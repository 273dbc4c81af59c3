#pragma once

#include <string>

namespace Ufdd {

class CommandLine;

// The sockets of a ufdd.
struct Sockets {
   std::string status;
   std::string control; // If empty, beside the status socket.
};

// Adds the commands that steer ufdd: disable, down, auto, clear, reload and confirm.
// Borrows: sockets, whose values are read when a command runs.
// The commands throw: Failure.
void addSteeringCommands( CommandLine& line, Sockets const& sockets );

} // namespace Ufdd
