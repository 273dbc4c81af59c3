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
   return id == isNondestructingAttributeId ? String8( frameworkAttributeName( id ) )
                                            : entity().attributeString( id );
}

AttributeId
GenericIfEntity::attributeId( String8 name ) const {
   constexpr AttributeId id = isNondestructingAttributeId;
   return name.view() == frameworkAttributeName( id )
              ? id
              : GenericIfPtrInterface::attributeId( std::move( name ) );
}

Ptr< GenericIf >
GenericIfEntity::attributeOp( AttributeOp const& op, Ptr< GenericIf const > const& key,
                              Ptr< GenericIf > const& value ) {
   requireChangeable( op.operation );
   if ( op.attribute != isNondestructingAttributeId )
      return GenericIfPtrInterface::attributeOp( op, key, value );
   std::string_view const name = frameworkAttributeName( op.attribute );
   if ( op.operation != get && op.operation != set )
      throwGenericIfException( GenericIfException::opNotSupported, name, op.operation );
   if ( key )
      throwGenericIfException( GenericIfException::badIndex, name );
   if ( op.operation == get )
      return valueIf( entity().isNondestructing(), isConst() );
   entity().isNondestructingIs( valueOf< bool >( value, name ) );
   return nullptr;
}

} // namespace Zet
