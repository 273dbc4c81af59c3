#pragma once

#include "platform/zet/Entity.h"
#include "platform/zet/generic/GenericIf.h"

namespace Zet {

// The generic interface of one object. Holds a reference on it. Knows no attributes by itself.
class ZET_EXPORT GenericIfPtrInterface : public GenericIf {
 public:
   GenericIfPtrInterface( Ptr< PtrInterface > object, bool isConst )
       : GenericIf( isConst ), object_( std::move( object ) ) {}

   Ptr< ZetType const > zetType() const override { return object_->fwkType(); }
   Ptr< PtrInterface > zetObject( ZetType const& wanted ) const override;
   String8 strRep() const override;
   // Reports the failure as one of the object.
   void onNotificationException( AttributeId id ) override;

 protected:
   PtrInterface& object() const noexcept { return *object_; }
   // Throws: GenericIfException `constInstance` when the operation changes something through a
   // constant interface.
   void requireChangeable( unsigned int operation ) const {
      if ( isConst() && modifies( operation ) )
         throwConstInstance();
   }

 private:
   [[noreturn]] static void throwConstInstance();

   Ptr< PtrInterface > object_;
};

// The generic interface of an entity. Knows the attribute of all entities, `isNondestructing`.
class ZET_EXPORT GenericIfEntity : public GenericIfPtrInterface {
 public:
   GenericIfEntity( Ptr< Entity > entity, bool isConst )
       : GenericIfPtrInterface( std::move( entity ), isConst ) {}

   String8 attributeString( AttributeId id ) const override;
   AttributeId attributeId( String8 name ) const override;
   Ptr< GenericIf > attributeOp( AttributeOp const& op, Ptr< GenericIf const > const& key,
                                 Ptr< GenericIf > const& value ) override;

 private:
   Entity& entity() const noexcept { return static_cast< Entity& >( object() ); }
};

} // namespace Zet
