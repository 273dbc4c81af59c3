#pragma once

#include "platform/zet/types/ZetAttr.h"

#include <string_view>

namespace Ufdd {

// What one can do with an attribute, as its descriptor tells, in the words of `ufdctl describe`.
namespace AttributeKind {

inline constexpr std::string_view scalar = "scalar";     // A value, to read and to set.
inline constexpr std::string_view constant = "constant"; // The same for every object of the type.
inline constexpr std::string_view derived = "derived";   // Worked out from others.
inline constexpr std::string_view key = "key"; // What the object's collection knows it by.
inline constexpr std::string_view values = "collection of values";
inline constexpr std::string_view objects = "collection of objects";
inline constexpr std::string_view object = "object";       // Can be made and dropped.
inline constexpr std::string_view reference = "reference"; // An object that is there already.
inline constexpr std::string_view function = "function";
inline constexpr std::string_view enumerator = "enumerator";

} // namespace AttributeKind

std::string_view attributeKind( Zet::ZetAttr const& attribute );

} // namespace Ufdd
