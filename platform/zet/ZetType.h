#pragma once

#include "platform/zet/AttributeId.h"
#include "platform/zet/Ptr.h"
#include "platform/zet/PtrInterface.h"
#include "platform/zet/String8.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Zet {

class Entity;
class GenericIf;
class ZetAttr;

// A named argument of a constructor or a function, with the full name of its type.
struct Argument {
   Name name;
   Name type;
};

// The descriptor of a type: one per type, made on first use and never destroyed.
class ZET_EXPORT ZetType : public PtrInterface {
 public:
   ZetType( Name name, Ptr< ZetType const > base );
   ZetType( Name name, Ptr< ZetType const > base, Name fullName );

   // Makes a descriptor without hooks and records it under its full name and with its base. The
   // result is valid for the life of the process.
   static ZetType const& ZetTypeIs( Name nameSpace, Name name, Ptr< ZetType const > const& base );
   // Makes the descriptor live for ever and records it among the derived types of its base.
   static void keep( ZetType& type );

   // Returns the short name: "GroupConfig".
   Name const& name() const noexcept { return name_; }
   // Returns null for a type without base.
   Ptr< ZetType const > const& base() const noexcept { return base_; }
   // Returns the derived types, in the order in which they were made.
   std::vector< Ptr< ZetType const > > const& derivedTypes() const noexcept {
      return derivedTypes_;
   }
   // Returns true if this is that type or derives from it.
   bool isA( ZetType const& type ) const noexcept;

   // Returns the name with its name space.
   Name const& fullName() const noexcept { return fullName_; }
   // Records the descriptor under that name, for typeNode().
   void typeNodeIs( Name fullName );
   // Returns the descriptor of that full name, or null.
   static Ptr< ZetType const > typeNode( Name const& fullName );

   bool isEntity() const noexcept { return flag( entityBit ); }
   void isEntityIs( bool on ) { flagIs( entityBit, on ); }
   bool isValue() const noexcept { return flag( valueBit ); }
   void isValueIs( bool on ) { flagIs( valueBit, on ); }
   bool isEnumType() const noexcept { return flag( enumBit ); }
   void isEnumTypeIs( bool on ) { flagIs( enumBit, on ); }
   bool hasGenericIfSupport() const noexcept { return flag( genericIfBit ); }
   void hasGenericIfSupportIs( bool on );

   // Returns the size of an instance in bytes; 0 until it is known.
   std::size_t instanceSize() const noexcept { return instanceSize_; }
   void instanceSizeIs( std::size_t size ) noexcept { instanceSize_ = size; }

   std::vector< Argument > const& constructorArguments() const noexcept { return arguments_; }
   void constructorArgumentEnq( Argument argument ) {
      arguments_.push_back( std::move( argument ) );
   }

   // Returns the attributes in the order in which they were defined.
   std::vector< Ptr< ZetAttr > > const& attributes() const noexcept { return attributes_; }
   // Returns null when there is no attribute of that name.
   Ptr< ZetAttr > attr( Name const& name ) const noexcept;
   // Does the same without counting. Valid until: the attribute is replaced or removed.
   ZetAttr const* findAttr( std::string_view name ) const noexcept {
      std::size_t const place = placeOfAttr( name );
      return place < attributes_.size() ? attributes_[ place ].get() : nullptr;
   }
   // Adds the attribute. Replaces an earlier one of the same name.
   void attrIs( Ptr< ZetAttr > const& attribute );
   void attrDel( Name const& name );
   // Returns the attribute that stands for the value of a value type, or null.
   Ptr< ZetAttr > const& valueAttr() const noexcept { return valueAttr_; }
   void valueAttrIs( Ptr< ZetAttr > attribute );

   // Makers, for a type without a descriptor class of its own. newEntity() and genericIf() call
   // those that are not null.
   using EntityMaker = Ptr< Entity > ( * )( Name name );
   using InterfaceMaker = Ptr< GenericIf > ( * )( Ptr< PtrInterface > const& object, bool isConst );
   void makersAre( EntityMaker ofEntity, InterfaceMaker ofInterface ) noexcept {
      entityMaker_ = ofEntity;
      interfaceMaker_ = ofInterface;
   }
   // Returns a new object of this type; null for a type whose objects are not made by name.
   virtual Ptr< Entity > newEntity( Name name ) const;
   // Returns the generic interface of an object of this type. By default it knows only the
   // attributes that all such objects have. A constant interface changes nothing.
   virtual Ptr< GenericIf > genericIf( Ptr< PtrInterface > const& object, bool isConst ) const;
   Ptr< GenericIf > genericIf( Ptr< PtrInterface const > const& object ) const;
   // Makes an object with newEntity() from a List_ with the argument "name". Returns the object's
   // generic interface.
   // Throws: GenericIfException: as argumentList() for a function of the type's short name; `type`
   // "name"; `opNotSupported` with that short name for a type whose objects are not made by name.
   Ptr< GenericIf > newGenericIf( Ptr< GenericIf const > const& arguments ) const;

 protected:
   ~ZetType() override;

   // Called when hasGenericIfSupport has changed.
   virtual void handleGenericIfSupport();

 private:
   static constexpr std::uint32_t entityBit = 1u << 0;
   static constexpr std::uint32_t valueBit = 1u << 1;
   static constexpr std::uint32_t enumBit = 1u << 2;
   static constexpr std::uint32_t genericIfBit = 1u << 29;

   // Returns attributes_.size() when there is no attribute of that name.
   std::size_t placeOfAttr( std::string_view name ) const noexcept {
      std::size_t place = 0;
      while ( place < attributeNames_.size() && attributeNames_[ place ] != name )
         ++place;
      return place;
   }

   bool flag( std::uint32_t bit ) const noexcept { return ( flags_ & bit ) != 0; }
   void flagIs( std::uint32_t bit, bool on ) noexcept {
      flags_ = on ? flags_ | bit : flags_ & ~bit;
   }

   Name name_;
   Name fullName_;
   Ptr< ZetType const > base_;
   std::uint32_t flags_ = 0;
   std::size_t instanceSize_ = 0;
   std::vector< Argument > arguments_;
   std::vector< Ptr< ZetAttr > > attributes_;
   // The names of attributes_, in the same order. A type has few attributes: walking finds a name
   // sooner than hashing.
   std::vector< std::string_view > attributeNames_;
   Ptr< ZetAttr > valueAttr_;
   EntityMaker entityMaker_ = nullptr;
   InterfaceMaker interfaceMaker_ = nullptr;
   // Mutable: grows as types are made. A new derived type does not change its base.
   mutable std::vector< Ptr< ZetType const > > derivedTypes_;
};

} // namespace Zet
