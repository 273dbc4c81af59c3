#include "agent/ctl/AttributeKind.h"

#include "platform/zet/AttributeId.h"
#include "platform/zet/generic/TypeOf.h"

#include <cstdint>

namespace Ufdd {

namespace {

using Introspection = Zet::ZetAttr::ZetAttrIntrospectionFlags;

// Bits of the attribute flags.
constexpr std::uint32_t writable = 0x00000002;   // word0
constexpr std::uint32_t ofObjects = 0x08000000;  // word0
constexpr std::uint32_t ofItsType = 0x00000010;  // word1: not stored in the object
constexpr std::uint32_t enumerates = 0x00200000; // word1

} // namespace

std::string_view
attributeKind( Zet::ZetAttr const& attribute ) {
   auto const [ word0, word1 ] = attribute.flags();
   bool const isKeyed = attribute.keyType() != nullptr;
   if ( attribute.introspectionFlags().value() & Introspection::isFunction ||
        attribute.valueType() == Zet::TypeOf< void >::type() )
      return AttributeKind::function;
   if ( word1 & enumerates )
      return AttributeKind::enumerator;
   if ( word0 & ofObjects )
      return isKeyed                ? AttributeKind::objects
             : ( word0 & writable ) ? AttributeKind::object
                                    : AttributeKind::reference;
   if ( isKeyed )
      return AttributeKind::values;
   if ( word0 & writable )
      return AttributeKind::scalar;
   if ( attribute.name() == Zet::frameworkAttributeName( Zet::keyAttributeId ) )
      return AttributeKind::key;
   return word1 & ofItsType ? AttributeKind::constant : AttributeKind::derived;
}

} // namespace Ufdd
