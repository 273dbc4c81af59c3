#pragma once

#include "adapters/notify/Enumeration.h"
#include "adapters/reflect/AttributeFlags.h"
#include "adapters/reflect/FrameworkRows.h"
#include "adapters/reflect/RowTraits.h"
#include "platform/zet/ActivityConfig.h"
#include "platform/zet/Entity.h"
#include "platform/zet/Export.h"
#include "platform/zet/generic/TypeOf.h"
#include "platform/zet/types/IntrospectionReactor.h"

#include <type_traits>

namespace Reflect {

// Returns the descriptor of one of our types, for its unit to fill.
template < class T >
Zet::ZetType&
typeToFill() {
   return const_cast< Zet::ZetType& >( *T::_fwkType() );
}

// Makes a descriptor, or returns it if it has been made.
using TypeMaker = Zet::Ptr< Zet::ZetType const > ( * )();

// Tells the reactor of the attributes of one type. The `keyType` of an attribute that is no
// collection is null.
class ZET_EXPORT Announcer {
 public:
   Announcer( Zet::IntrospectionReactor& reactor, Zet::ZetType& type )
       : reactor_( reactor ), type_( type ) {}

   void plain( std::string_view name, TypeMaker valueType, TypeMaker keyType, KindFlags const& kind,
               Zet::AttributeId id );
   // Announces an attribute with its context: arguments and, for a collection that makes its
   // members, their key.
   void withContext( std::string_view name, TypeMaker valueType, TypeMaker keyType,
                     KindFlags const& kind, Zet::AttributeId id,
                     std::vector< Zet::Argument > arguments, std::string_view indexAttribute );
   void again( Zet::Ptr< Zet::ZetAttr > const& attribute );

 private:
   Zet::IntrospectionReactor& reactor_;
   Zet::ZetType& type_;
};

// Returns the constructor arguments of M.
template < class M >
std::vector< Zet::Argument >
constructorArguments() {
   if constexpr ( isEntity< M > )
      return { { entityArgument, "Zet::Name" } };
   else {
      std::vector< Zet::Argument > arguments;
      Notify::forEachRow< M >( [ & ]< class R >( R const& row ) {
         if constexpr ( isReference< R > )
            arguments.push_back( { row.name, Zet::argumentTypeName< ValueTypeOf< R::get > >() } );
      } );
      return arguments;
   }
}

// Returns the attribute that is the key of an entity M, or of a machine M.
template < class M >
constexpr std::string_view
keyAttribute() {
   if constexpr ( isEntity< M > )
      return entityArgument;
   else {
      constexpr auto found = [] {
         std::pair< std::string_view, int > key;
         Notify::forEachRow< M >( [ & ]< class R >( R const& row ) {
            if constexpr ( isDerivedKey< R > )
               key = { row.name, key.second + 1 };
         } );
         return key;
      }();
      static_assert( found.second == 1, "a machine in a collection has one DerivedKey row" );
      return found.first;
   }
}

template < auto Call >
std::vector< Zet::Argument >
parametersOf( Notify::Function< Call > const& row ) {
   std::vector< Zet::Argument > parameters;
   [ & ]< std::size_t... Place >( std::index_sequence< Place... > ) {
      ( parameters.push_back(
            { row.parameters[ Place ],
              Zet::argumentTypeName<
                  std::tuple_element_t< Place, Notify::ArgumentsOf< Call > > >() } ),
        ... );
   }
   ( std::make_index_sequence< Notify::Function< Call >::arity >() );
   return parameters;
}

namespace Fault {
template < auto Attribute, class Value > struct NoTypeOfValue;
}

// Announces one attribute in the way of its kind.
template < class R >
void
announceRow( Announcer& announcer, R const& row ) {
   using V = ValueTypeOf< R::get >;
   static_assert( Notify::holds< Zet::hasTypeOf< V >, Fault::NoTypeOfValue< R::get, V > >() );
   constexpr TypeMaker valueType = Zet::TypeOf< V >::type;
   constexpr KindFlags const& kind = flagsOf< R >;
   TypeMaker keyType = nullptr;
   if constexpr ( isCollection< R > )
      keyType = Zet::TypeOf< typename R::Key >::type;
   if constexpr ( requires { row.parameters; } ) {
      if ( row.parameters.empty() )
         announcer.plain( row.name, valueType, nullptr, kind, row.id );
      else
         announcer.withContext( row.name, valueType, nullptr, kind, row.id, parametersOf( row ),
                                {} );
   } else if constexpr ( requires { R::is; } ) {
      std::string_view key;
      if constexpr ( isCollection< R > )
         key = keyAttribute< V >();
      announcer.withContext( row.name, valueType, keyType, kind, row.id,
                             constructorArguments< V >(), key );
   } else {
      announcer.plain( row.name, valueType, keyType, kind, row.id );
   }
}

template < class T >
void
announceKey( Announcer& announcer ) {
   if constexpr ( hasKey< T > )
      announcer.plain(
          Zet::frameworkAttributeName( Zet::keyAttributeId ),
          Zet::TypeOf< std::decay_t< decltype( std::declval< T const& >().zetKey() ) > >::type,
          nullptr, Kind::key, Zet::keyAttributeId );
}

template < class T >
void
announceEntity( Announcer& announcer ) {
   constexpr TypeMaker boolType = Zet::TypeOf< bool >::type;
   announcer.plain( Zet::frameworkAttributeName( Zet::isNondestructingAttributeId ), boolType,
                    nullptr,
                    hasAttributeLog< T > ? Kind::isNondestructing : Kind::isNondestructingUnlogged,
                    Zet::isNondestructingAttributeId );
   if ( hasAttributeLog< T > )
      announcer.plain( Zet::frameworkAttributeName( Zet::hasAttrLogInterfaceAttributeId ), boolType,
                       nullptr, Kind::hasAttrLogInterface, Zet::hasAttrLogInterfaceAttributeId );
   Notify::forEachRow< T >( [ & ]( auto const& row ) { announceRow( announcer, row ); } );
   announceKey< T >( announcer );
}

template < class T >
void
announceMachine( Announcer& announcer ) {
   announcer.plain( "zetFwkActivity", Zet::ActivityConfig::_fwkType, nullptr, Kind::activity, 0 );
   Notify::forEachRow< T >( [ & ]( auto const& row ) { announceRow( announcer, row ); } );
   announceKey< T >( announcer );
   constexpr TypeMaker nothing = Zet::TypeOf< void >::type;
   announcer.withContext( "hasNotificationActiveIs", nothing, nullptr, Kind::machineFunction, 0,
                          { { "hasNotificationActiveIs", "bool" } }, {} );
   announcer.withContext( "zetDoZombieReactors", nothing, nullptr, Kind::machineFunction, 0,
                          { { "on", "bool" } }, {} );
}

// Announces an enumeration with its enumerators.
template < Notify::Enumeration E >
void
announceEnumeration( Zet::IntrospectionReactor& reactor ) {
   auto& type = const_cast< Zet::ZetType& >( *Zet::TypeOf< E >::type() );
   Announcer announcer( reactor, type );
   reactor.handleType( &type, type.base() );
   type.instanceSizeIs( sizeof( E ) );
   type.isValueIs( true );
   type.isEnumTypeIs( true );
   type.hasGenericIfSupportIs( true );
   Zet::AttributeId number = 0;
   for ( char const* const text : Notify::Description< E >::enumerators )
      announcer.plain( text, Zet::TypeOf< E >::type, nullptr, Kind::enumerator, number++ );
   type.valueAttrIs( Zet::ZetAttr::attr( &type, "value" ) );
   reactor.handleScopeExit();
}

// Announces a type with its attributes.
template < class T >
void
announce( Zet::IntrospectionReactor& reactor ) {
   Zet::ZetType& type = typeToFill< T >();
   Announcer announcer( reactor, type );
   reactor.handleType( &type, type.base() );
   type.instanceSizeIs( sizeof( T ) );
   type.isEntityIs( isEntity< T > );
   type.hasGenericIfSupportIs( true );
   for ( Zet::Argument const& argument : constructorArguments< T >() )
      type.constructorArgumentEnq( argument );
   if constexpr ( isEntity< T > ) {
      for ( auto const& attribute : std::vector( type.attributes() ) )
         announcer.again( attribute );
      announceEntity< T >( announcer );
   } else {
      announceMachine< T >( announcer );
   }
   reactor.handleScopeExit();
}

} // namespace Reflect
