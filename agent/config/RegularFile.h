#pragma once

#include <cstddef>
#include <string>

namespace Ufdd {

// Returns the content of a regular file of at most `mostBytes`. Follows symbolic links. Never waits
// for another process, as reading a named pipe would.
// Throws: std::runtime_error, whose text says why the file can't be read and what to do; it follows
// "can't be read: ".
std::string readRegularFile( std::string const& path, std::size_t mostBytes );

} // namespace Ufdd
