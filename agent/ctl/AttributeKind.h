#pragma once

#include "platform/zet/types/ZetAttr.h"

#include <string_view>

namespace Ufdd {

// The kinds of attributes by their use, in the words of `ufdctl describe`.
namespace AttributeKind {

inline constexpr std::string_view scalar = "scalar";     // A value that can be read and set.
inline constexpr std::string_view constant = "constant"; // The same for every object of the type.
inline constexpr std::string_view derived = "derived";   // Computed from other attributes.
inline constexpr std::string_view key = "key";           // The object's key in its collection.
inline constexpr std::string_view values = "collection of values";
inline constexpr std::string_view objects = "collection of objects";
inline constexpr std::string_view object = "object"; // An object that can be made and dropped.
inline constexpr std::string_view reference = "reference"; // An object that is made elsewhere.
inline constexpr std::string_view function = "function";
inline constexpr std::string_view enumerator = "enumerator";

} // namespace AttributeKind

// Returns the kind of an attribute, by its descriptor.
std::string_view attributeKind( Zet::ZetAttr const& attribute );

} // namespace Ufdd
