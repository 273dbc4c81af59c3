#pragma once

namespace CLI {
class App;
}

namespace Ufdd {

// Adds "describe [TYPE] [--json]", which prints the types that the library has told the
// introspection reactor of.
// Throws, when it is run: std::runtime_error when there is no such type.
void addDescribe( CLI::App& app );

} // namespace Ufdd
