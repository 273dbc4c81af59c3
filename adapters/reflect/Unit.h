#pragma once

#include "adapters/reflect/Announce.h"
#include "platform/zet/types/IntrospectionReactor.h"

#include <initializer_list>
#include <vector>

namespace Reflect {

// The types that register together.
class ZET_EXPORT Unit {
 public:
   using Announcement = void ( * )( Zet::IntrospectionReactor& );

   // Makes the descriptors, then announces the name space with each type. Does so once, when the
   // introspection reactor is ready.
   static void registrationIs( bool& registered, char const* nameSpace,
                               std::initializer_list< TypeMaker > types,
                               std::initializer_list< Announcement > announcements );
};

// Returns the descriptor of T. The first call makes it and lets the unit register.
template < class T, class Type = typename T::_Type >
Zet::Ptr< Zet::ZetType const >
typeOf( void ( *registerUnit )(), Zet::Ptr< Zet::ZetType const > ( *base )() ) {
   static constinit Zet::ZetType* type = nullptr;
   if ( type )
      return type;
   registerUnit();
   if ( !type ) {
      constexpr std::string_view name = Notify::Description< T >::name;
      type = new Type( name, base ? base() : nullptr,
                       Zet::Name( Notify::nameSpaceOf< T >() ) + "::" + Zet::Name( name ) );
      Zet::ZetType::keep( *type );
   }
   return type;
}

// Handles on the attributes of a type, by name. A handle is null for a name that is not registered.
using Handles = std::vector< Zet::Ptr< Zet::ZetAttr > >;
void addHandles( Handles& handles, Zet::Ptr< Zet::ZetType const > const& type,
                 std::initializer_list< std::string_view > names );
template < class T >
void
addHandlesOfRows( Handles& handles ) {
   Notify::forEachRow< T >(
       [ & ]( auto const& row ) { addHandles( handles, T::_fwkType(), { row.name } ); } );
}

// `T::_Type` of an entity. Makes entities by name with `Factory`, and generic interfaces.
template < class T, auto Factory = Zet::make< T, Zet::Name > >
class ZET_EXPORT EntityType : public Zet::ZetType {
 public:
   using ZetType::ZetType;
   Zet::Ptr< Zet::Entity > newEntity( Zet::Name name ) const override {
      return Factory( std::move( name ) );
   }
   Zet::Ptr< Zet::GenericIf > genericIf( Zet::Ptr< Zet::PtrInterface > const& object,
                                         bool isConst ) const override {
      return Zet::make< typename T::GenericIf_ >( static_cast< T* >( object.get() ), isConst );
   }
};

// `T::_Type` of a state machine.
template < class T > class ZET_EXPORT MachineType : public Zet::ZetType {
 public:
   using ZetType::ZetType;
   Zet::Ptr< Zet::GenericIf > genericIf( Zet::Ptr< Zet::PtrInterface > const& object,
                                         bool isConst ) const override {
      return Zet::make< typename T::GenericIf_ >( static_cast< T* >( object.get() ), isConst );
   }
};

} // namespace Reflect
