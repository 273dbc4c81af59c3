#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/attrlog/EntityId.h"
#include "platform/zet/attrlog/Format.h"

#include <algorithm>
#include <string_view>

namespace Zet::NboAttrLog {

// The header of a record, its seven fields in wire order.
struct MsgHeader {
   EntityId entity; // Two fields.
   AttributeId attribute = 0;
   std::uint8_t kind = attributeKind;
   std::uint32_t count = 0; // Of a transaction marker: its third argument.
   std::uint32_t creation = 0;
   std::uint8_t transaction = 0;
};

// Store a part of a record at `at` and return the place behind it.
inline unsigned char*
store( unsigned char* at, MsgHeader const& header ) noexcept {
   at = store( at, header.entity.first );
   at = store( at, header.entity.second );
   at = store( at, static_cast< std::uint32_t >( header.attribute ) );
   at = store( at, header.kind );
   at = store( at, header.count );
   at = store( at, header.creation );
   return store( at, header.transaction );
}
inline unsigned char*
store( unsigned char* at, int number ) noexcept {
   return store( at, static_cast< std::uint32_t >( number ) );
}
inline unsigned char*
store( unsigned char* at, double number ) noexcept {
   return store( at, std::bit_cast< std::uint64_t >( number ) );
}
inline unsigned char*
store( unsigned char* at, EntityId const& id ) noexcept {
   return store( store( at, id.first ), id.second );
}
inline unsigned char*
store( unsigned char* at, std::string_view text ) noexcept {
   at = store( at, static_cast< std::uint16_t >( text.size() ) );
   return std::copy( text.begin(), text.end(), at );
}

// The greatest size of a stored value, in bytes.
template < class Value > inline constexpr std::size_t greatestSize = sizeof( Value );
template <>
inline constexpr std::size_t
    greatestSize< std::string_view > = sizeof( std::uint16_t ) + stringLimit;

} // namespace Zet::NboAttrLog
