#pragma once

namespace Ufdd {

class CommandLine;

// Adds "describe [TYPE] [--json]", which prints the types that the library has told the
// introspection reactor of.
// Throws, when it is run: std::runtime_error when there is no such type.
void addDescribe( CommandLine& line );

} // namespace Ufdd
