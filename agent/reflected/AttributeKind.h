#pragma once

#include "platform/zet/types/ZetAttr.h"

#include <string_view>

namespace Ufdd {

// What one can do with an attribute, as its descriptor tells.
enum class AttributeKind {
   scalar,           // A value, to read and to set.
   constant,         // A value that is the same for every object of the type.
   derived,          // A value that is worked out from others.
   key,              // What the object's collection knows it by.
   valueCollection,  // A value per key.
   objectCollection, // An object per key.
   object,           // An object that can be made and dropped.
   reference,        // An object that is there already.
   function,
   enumerator,
};

AttributeKind attributeKind( Zet::ZetAttr const& attribute );
// "scalar", "collection of values"
std::string_view text( AttributeKind kind );

// Whether it is for whoever configures the object to set: a scalar or a collection of values that
// nothing else decides on.
bool isConfiguration( Zet::ZetAttr const& attribute );

} // namespace Ufdd
