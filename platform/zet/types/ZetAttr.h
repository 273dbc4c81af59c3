#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/ZetType.h"

#include <cstdint>
#include <vector>

namespace Zet {

// The descriptor of one attribute of a type.
class ZET_EXPORT ZetAttr : public PtrInterface {
 public:
   // Two words of bits that the runtime defines.
   struct AttrFlags {
      std::uint32_t word0;
      std::uint32_t word1;
      bool operator==( AttrFlags const& ) const = default;
   };

   // The attribute's introspection flags: six bits.
   class ZET_EXPORT ZetAttrIntrospectionFlags {
    public:
      static constexpr unsigned int isIndependentDomainAttr = 2;
      static constexpr unsigned int isFunction = 8;
      static constexpr unsigned int hasInternalIndex = 32;

      // Throws: RangeException when there are more than six bits.
      ZetAttrIntrospectionFlags( unsigned int value );
      unsigned int value() const noexcept { return value_; }

    private:
      unsigned int value_;
   };

   // Borrows: `type`, which lives for ever.
   ZetAttr( ZetType const& type, Name name, Ptr< ZetType const > valueType,
            Ptr< ZetType const > keyType, AttrFlags flags, ZetAttrIntrospectionFlags introspection,
            AttributeId id );

   // Returns the attribute of that name, or null.
   static Ptr< ZetAttr > attr( Ptr< ZetType const > const& type, Name const& name );

   ZetType const& type() const noexcept { return *type_; }
   Name const& name() const noexcept { return name_; }
   Ptr< ZetType const > const& valueType() const noexcept { return valueType_; }
   // Returns null for an attribute that is no collection.
   Ptr< ZetType const > const& keyType() const noexcept { return keyType_; }
   AttrFlags const& flags() const noexcept { return flags_; }
   ZetAttrIntrospectionFlags introspectionFlags() const noexcept { return introspection_; }
   AttributeId id() const noexcept { return id_; }

   // Returns the constructor arguments of an instantiating attribute's members, or the arguments of
   // a function.
   std::vector< Argument > const& arguments() const noexcept { return arguments_; }
   void argumentEnq( Argument argument ) { arguments_.push_back( std::move( argument ) ); }
   // Returns the name of the member's attribute that is the key of an instantiating collection;
   // empty otherwise.
   Name const& indexAttr() const noexcept { return indexAttr_; }
   void indexAttrIs( Name name ) { indexAttr_ = std::move( name ); }

 private:
   ZetType const* type_;
   Name name_;
   Ptr< ZetType const > valueType_;
   Ptr< ZetType const > keyType_;
   AttrFlags flags_;
   ZetAttrIntrospectionFlags introspection_;
   AttributeId id_;
   std::vector< Argument > arguments_;
   Name indexAttr_;
};

} // namespace Zet
