#pragma once

#include <cstdint>

namespace Zet {

// Returns the bits in reversed order: bit 0 becomes bit 31.
constexpr std::uint32_t
bitReverse( std::uint32_t bits ) noexcept {
   bits = __builtin_bswap32( bits );
   bits = ( bits >> 4 & 0x0f0f0f0f ) | ( bits & 0x0f0f0f0f ) << 4;
   bits = ( bits >> 2 & 0x33333333 ) | ( bits & 0x33333333 ) << 2;
   return ( bits >> 1 & 0x55555555 ) | ( bits & 0x55555555 ) << 1;
}

} // namespace Zet
