#pragma once

namespace Ufdd {

class CommandLine;

// Adds the command "describe [TYPE] [--json]", which prints the types that the library has
// registered with the introspection reactor.
// The command throws: Failure when there is no such type.
void addDescribe( CommandLine& line );

} // namespace Ufdd
