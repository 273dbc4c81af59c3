#include "platform/zet/types/ZetAttr.h"

#include "platform/zet/Exception.h"

namespace Zet {

ZetAttr::ZetAttrIntrospectionFlags::ZetAttrIntrospectionFlags( unsigned int value )
    : value_( value ) {
   if ( value > 0x3f )
      throwRangeException( "ZetAttrIntrospectionFlags::value > 0x3f not allowed" );
}

ZetAttr::ZetAttr( ZetType const& type, Name name, Ptr< ZetType const > valueType,
                  Ptr< ZetType const > keyType, AttrFlags flags,
                  ZetAttrIntrospectionFlags introspection, AttributeId id )
    : type_( &type ), name_( std::move( name ) ), valueType_( std::move( valueType ) ),
      keyType_( std::move( keyType ) ), flags_( flags ), introspection_( introspection ),
      id_( id ) {}

Ptr< ZetAttr >
ZetAttr::attr( Ptr< ZetType const > const& type, Name const& name ) {
   return type->attr( name );
}

} // namespace Zet
