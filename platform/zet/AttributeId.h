#pragma once

#include <cstdint>

namespace Zet {

// The number of an attribute within its type: what notifications, their failures and the
// attribute log carry.
using AttributeId = std::int32_t;

// The runtime's own attributes, which every type has.
inline constexpr AttributeId keyAttributeId = 0;
inline constexpr AttributeId zeroReferencesAttributeId = 5;
inline constexpr AttributeId isNondestructingAttributeId = 6;

} // namespace Zet
