#include "agent/config/Checksum.h"

#include <cstddef>

namespace Ufdd {

namespace {

std::uint32_t
withByte( std::uint32_t sum, std::uint32_t byte ) noexcept {
   sum ^= byte << 24;
   for ( int bit = 0; bit < 8; ++bit )
      sum = sum << 1 ^ ( sum >> 31 ) * 0x04c11db7u;
   return sum;
}

} // namespace

std::uint32_t
checksumOf( std::string_view bytes ) noexcept {
   std::uint32_t sum = 0;
   for ( char const byte : bytes )
      sum = withByte( sum, static_cast< unsigned char >( byte ) );
   for ( std::size_t size = bytes.size(); size != 0; size >>= 8 )
      sum = withByte( sum, size & 0xff );
   return ~sum;
}

} // namespace Ufdd
