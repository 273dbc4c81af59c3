#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

// The byte encoding of the attribute log, shared by both directions: docs/attribute-log.md.
namespace Zet::NboAttrLog {

// The first bytes of a stream. The version and the full name of the root's type follow.
inline constexpr std::array< unsigned char, 4 > magic{ 'Z', 'N', 'A', 'L' };
inline constexpr std::uint16_t version = 1;

// The longest text in a record, and the longest record with its length field, in bytes. A reader
// never needs more memory than one record takes.
inline constexpr std::size_t stringLimit = 1024;
inline constexpr std::size_t frameLimit = 4096;

inline constexpr std::size_t lengthSize = 2;
inline constexpr std::size_t headerSize = 22;
// The size in bytes of a record without payload: its length, its header and its two tokens.
inline constexpr std::size_t emptyFrameSize = lengthSize + headerSize + 2;

// Values of header field 4, the kind of record.
inline constexpr std::uint8_t attributeKind = 1;
inline constexpr std::uint8_t transactionKind = 2;
// The value of header field 6 in a record that creates an entity.
inline constexpr std::uint32_t createsEntity = 151;

// Converts to or from network byte order, the most significant byte first.
template < std::unsigned_integral Number >
Number
networkOrder( Number number ) noexcept {
   if constexpr ( std::endian::native == std::endian::big || sizeof( Number ) == 1 )
      return number;
   else if constexpr ( sizeof( Number ) == 2 )
      return __builtin_bswap16( number );
   else if constexpr ( sizeof( Number ) == 4 )
      return __builtin_bswap32( number );
   else
      return __builtin_bswap64( number );
}

template < std::unsigned_integral Number >
unsigned char*
store( unsigned char* at, Number number ) noexcept {
   number = networkOrder( number );
   std::memcpy( at, &number, sizeof number );
   return at + sizeof number;
}

template < std::unsigned_integral Number >
Number
load( unsigned char const* at ) noexcept {
   Number number;
   std::memcpy( &number, at, sizeof number );
   return networkOrder( number );
}

} // namespace Zet::NboAttrLog
