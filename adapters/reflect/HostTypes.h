#pragma once

#include "adapters/reflect/Announce.h"
#include "adapters/reflect/Bridge.h"
#include "adapters/reflect/Unit.h"

namespace Reflect {

namespace Detail {

template < class T >
Zet::Ptr< Zet::GenericIf >
newReflectedIf( Zet::Ptr< Zet::PtrInterface > const& object, bool isConst ) {
   return Zet::make< ReflectedEntityIf< T > >( static_cast< T* >( object.get() ), isConst );
}

template < class T >
Zet::Ptr< Zet::Entity >
newEntity( Zet::Name name ) {
   return Zet::make< T >( std::move( name ) );
}

template < class T >
Zet::Ptr< Zet::ZetType const >
hostType() {
   Zet::Ptr< Zet::ZetType const > const type = Zet::TypeOf< T >::type();
   if constexpr ( isEntity< T > )
      const_cast< Zet::ZetType& >( *type ).makersAre( newEntity< T >, newReflectedIf< T > );
   return type;
}

template < class T >
void
announceHostType( Zet::IntrospectionReactor& reactor ) {
   if constexpr ( Notify::Enumeration< T > )
      announceEnumeration< T >( reactor );
   else
      announce< T >( reactor );
}

} // namespace Detail

// Registers types of a host's own, entities and enumerations, by their Descriptions: introspection
// lists them in that name space, and their objects have generic interfaces. Only the first call
// for these types does anything.
template < class... T >
void
registerHostTypes( char const* nameSpace ) {
   static constinit bool registered = false;
   Unit::registrationIs( registered, nameSpace, { Detail::hostType< T >... },
                         { Detail::announceHostType< T >... } );
}

} // namespace Reflect
