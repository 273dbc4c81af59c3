#pragma once

#include <cstdint>
#include <string_view>

namespace Zet {

// The number of an attribute within its type. Notifications, their failures and the attribute log
// carry it.
using AttributeId = std::int32_t;

// The runtime's own attributes, which every type has.
inline constexpr AttributeId keyAttributeId = 0;
inline constexpr AttributeId zeroReferencesAttributeId = 5;
inline constexpr AttributeId isNondestructingAttributeId = 6;
inline constexpr AttributeId hasAttrLogInterfaceAttributeId = 154;

// Returns the attribute's name; empty for an id that is none of the runtime's.
constexpr std::string_view
frameworkAttributeName( AttributeId id ) {
   switch ( id ) {
   case keyAttributeId:
      return "fwkKey";
   case zeroReferencesAttributeId:
      return "zeroReferences";
   case isNondestructingAttributeId:
      return "isNondestructing";
   case hasAttrLogInterfaceAttributeId:
      return "zetHasAttrLogInterface";
   default:
      return {};
   }
}

} // namespace Zet
