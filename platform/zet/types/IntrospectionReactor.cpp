#include "platform/zet/types/IntrospectionReactor.h"

#include <algorithm>

namespace Zet {

namespace {

Ptr< IntrospectionReactor > const&
first() {
   // Never destroyed: libraries register before main(), and their types are described until the
   // end.
   static Ptr< IntrospectionReactor > const& first =
       *new Ptr< IntrospectionReactor >( make< IntrospectionReactor >() );
   return first;
}

Ptr< IntrospectionReactor >&
current() {
   static Ptr< IntrospectionReactor >& current = *new Ptr< IntrospectionReactor >( first() );
   return current;
}

} // namespace

Ptr< IntrospectionReactor > const&
IntrospectionReactor::global() {
   return current();
}

void
IntrospectionReactor::globalIs( Ptr< IntrospectionReactor > reactor ) {
   if ( !reactor )
      reactor = first();
   current() = std::move( reactor );
}

bool
IntrospectionReactor::isReady() const {
   return true;
}

void
IntrospectionReactor::handleNameSpace( char const* name ) {
   auto const found = std::find_if( nameSpaces_.begin(), nameSpaces_.end(),
                                    [ & ]( NameSpace const& one ) { return one.name == name; } );
   open_ = static_cast< std::size_t >( found - nameSpaces_.begin() );
   if ( found == nameSpaces_.end() )
      nameSpaces_.push_back( { name, {} } );
}

void
IntrospectionReactor::handleType( Ptr< ZetType const > const& type, Ptr< ZetType const > const& ) {
   nameSpaces_[ open_ ].types.push_back( type );
}

void
IntrospectionReactor::defNoninstantiatingAttr( ZetType& type, Name name,
                                               Ptr< ZetType const > const& valueType,
                                               Ptr< ZetType const > const& keyType,
                                               ZetAttr::AttrFlags const& flags,
                                               ZetAttr::ZetAttrIntrospectionFlags introspection,
                                               AttributeId id ) {
   type.attrIs(
       make< ZetAttr >( type, std::move( name ), valueType, keyType, flags, introspection, id ) );
}

void
IntrospectionReactor::handleAttr( Ptr< ZetAttr > const& ) {}

void
IntrospectionReactor::handleAttrContextExit() {}

void
IntrospectionReactor::handleScopeExit() {}

} // namespace Zet
