#pragma once

#include <cstdint>
#include <string_view>

namespace Ufdd {

// Returns the CRC of the bytes and their number, as POSIX defines it for the command cksum, so that
// an operator can compare a file with what ufdd has read.
std::uint32_t checksumOf( std::string_view bytes ) noexcept;

} // namespace Ufdd
