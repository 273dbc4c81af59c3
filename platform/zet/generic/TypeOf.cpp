#include "platform/zet/generic/TypeOf.h"

namespace Zet {

namespace {

ZetType const&
valueType( Name name ) {
   auto& type = *new ZetType( name, nullptr );
   ZetType::keep( type );
   type.typeNodeIs( "Zet::" + name );
   type.isValueIs( true );
   return type;
}

} // namespace

template <>
Ptr< ZetType const >
Builtin< bool >::_fwkType() {
   static ZetType const& type = valueType( "Builtin<bool>" );
   return &type;
}

template <>
Ptr< ZetType const >
Builtin< unsigned int >::_fwkType() {
   static ZetType const& type = valueType( "Builtin<unsigned int>" );
   return &type;
}

template <>
Ptr< ZetType const >
Builtin< double >::_fwkType() {
   static ZetType const& type = valueType( "Builtin<double>" );
   return &type;
}

template <>
Ptr< ZetType const >
Builtin< void* >::_fwkType() {
   static ZetType const& type = valueType( "Builtin<void*>" );
   return &type;
}

Ptr< ZetType const >
TypeOf< Name >::type() {
   static ZetType const& type = valueType( "Name" );
   return &type;
}

} // namespace Zet
