#include "platform/zet/generic/ObjectIf.h"

#include "platform/zet/NotificationFailure.h"
#include "platform/zet/Strep.h"
#include "platform/zet/generic/ValueIf.h"

namespace Zet {

Ptr< PtrInterface >
GenericIfPtrInterface::zetObject( ZetType const& wanted ) const {
   if ( !zetType()->isA( wanted ) && &wanted != PtrInterface::_fwkType().get() )
      throwGenericIfException( GenericIfException::type, zetType()->name() );
   return object_;
}

String8
GenericIfPtrInterface::strRep() const {
   return valueToStrepOfRawPtr( zetType()->name(), object_.get() );
}

void
GenericIfPtrInterface::onNotificationException( AttributeId id ) {
   handleNotificationFailure( *object_, id );
}

void
GenericIfPtrInterface::throwConstInstance() {
   throwGenericIfException( GenericIfException::constInstance,
                            "attempting to modify a const instance" );
}

String8
GenericIfEntity::attributeString( AttributeId id ) const {
   std::string_view const own = frameworkAttributeName( id );
   return own.empty() ? entity().attributeString( id ) : String8( own );
}

AttributeId
GenericIfEntity::attributeId( String8 name ) const {
   for ( AttributeId const id :
         { keyAttributeId, isNondestructingAttributeId, hasAttrLogInterfaceAttributeId } )
      if ( frameworkAttributeName( id ) == name.view() )
         return id;
   return GenericIfPtrInterface::attributeId( std::move( name ) );
}

Ptr< GenericIf >
GenericIfEntity::attributeOp( AttributeOp const& op, Ptr< GenericIf const > const& key,
                              Ptr< GenericIf > const& value ) {
   requireChangeable( op.operation );
   std::string_view const name = frameworkAttributeName( op.attribute );
   if ( name.empty() )
      return GenericIfPtrInterface::attributeOp( op, key, value );
   bool const isFunction = op.attribute == hasAttrLogInterfaceAttributeId;
   if ( key && !isFunction )
      throwGenericIfException( GenericIfException::badIndex, name );
   if ( op.operation == get ) {
      if ( isFunction )
         return valueIf( entity().zetHasAttrLogInterface(), isConst() );
      if ( op.attribute == keyAttributeId )
         return valueIf( entity().name(), isConst() );
      return valueIf( entity().isNondestructing(), isConst() );
   }
   if ( op.operation != set || op.attribute != isNondestructingAttributeId )
      throwGenericIfException( GenericIfException::opNotSupported, name, op.operation );
   entity().isNondestructingIs( valueOf< bool >( value, name ) );
   return nullptr;
}

} // namespace Zet
