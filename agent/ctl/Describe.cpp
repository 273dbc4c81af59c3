#include "agent/ctl/Describe.h"

#include "agent/base/CommandLine.h"
#include "agent/base/NearestWord.h"
#include "agent/ctl/AttributeKind.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/Screen.h"
#include "agent/state/State.h"
#include "platform/zet/types/IntrospectionReactor.h"
#include "sm/Root.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace Ufdd {

namespace {

using NameSpaces = std::vector< Zet::IntrospectionReactor::NameSpace >;
using Types = std::vector< Zet::Ptr< Zet::ZetType const > >;

std::string
nameText( Zet::Name const& name ) {
   return std::string( name.view() );
}

std::string
typeNameOf( Zet::Ptr< Zet::ZetType const > const& type ) {
   return type ? nameText( type->fullName() ) : "-";
}

std::string
hex( std::uint32_t word ) {
   char digits[ 9 ];
   std::snprintf( digits, sizeof digits, "%08x", word );
   return digits;
}

std::string
argumentsText( std::vector< Zet::Argument > const& arguments ) {
   std::string list;
   for ( Zet::Argument const& argument : arguments )
      list += ( list.empty() ? "" : ", " ) + nameText( argument.name ) + ": " +
              nameText( argument.type );
   return "( " + list + " )";
}

std::vector< std::string >
traits( Zet::ZetType const& type ) {
   std::vector< std::string > traits;
   for ( auto const& [ has, name ] :
         { std::pair( type.isEntity(), "entity" ), std::pair( type.isValue(), "value" ),
           std::pair( type.isEnumType(), "enumeration" ),
           std::pair( type.hasGenericIfSupport(), "generic interface" ) } )
      if ( has )
         traits.emplace_back( name );
   return traits;
}

void
printTable( Zet::ZetType const& type ) {
   std::vector< Line > rows{ { "ID", "NAME", "TYPE", "KEY", "WORD0", "WORD1", "INTRO", "KIND" } };
   for ( auto const& attribute : type.attributes() )
      rows.push_back( { std::to_string( attribute->id() ), nameText( attribute->name() ),
                        typeNameOf( attribute->valueType() ), typeNameOf( attribute->keyType() ),
                        hex( attribute->flags().word0 ), hex( attribute->flags().word1 ),
                        std::to_string( attribute->introspectionFlags().value() ),
                        attributeKind( *attribute ) } );
   Screen screen( Colours::none );
   screen.table( rows, 4 );
   std::cout << screen.text();
}

// Prints the arguments of functions and objects, which would not fit into the table.
void
printContexts( Zet::ZetType const& type ) {
   for ( auto const& attribute : type.attributes() ) {
      if ( attribute->arguments().empty() )
         continue;
      std::cout << "    " << attribute->name().view()
                << ( attributeKind( *attribute ) == AttributeKind::function ? " takes "
                                                                            : " is made from " )
                << argumentsText( attribute->arguments() );
      if ( !attribute->indexAttr().empty() )
         std::cout << ", its key is " << attribute->indexAttr().view();
      std::cout << '\n';
   }
}

void
print( Zet::ZetType const& type ) {
   std::cout << "  " << type.name().view();
   if ( type.base() )
      std::cout << " : " << type.base()->fullName().view();
   for ( std::string const& trait : traits( type ) )
      std::cout << ", " << trait;
   std::cout << '\n';
   if ( !type.constructorArguments().empty() )
      std::cout << "    is made from " << argumentsText( type.constructorArguments() ) << '\n';
   printTable( type );
   printContexts( type );
   std::cout << '\n';
}

Json
json( std::vector< Zet::Argument > const& arguments ) {
   Json list = Json::array();
   for ( Zet::Argument const& argument : arguments )
      list.push_back(
          { { "name", nameText( argument.name ) }, { "type", nameText( argument.type ) } } );
   return list;
}

Json
jsonName( Zet::Ptr< Zet::ZetType const > const& type ) {
   return type ? Json( typeNameOf( type ) ) : Json();
}

Json
json( Zet::ZetAttr const& attribute ) {
   Json object{ { "id", attribute.id() },
                { "name", nameText( attribute.name() ) },
                { "type", jsonName( attribute.valueType() ) },
                { "key", jsonName( attribute.keyType() ) },
                { "flags", { attribute.flags().word0, attribute.flags().word1 } },
                { "introspection", attribute.introspectionFlags().value() },
                { "kind", attributeKind( attribute ) } };
   if ( !attribute.arguments().empty() )
      object[ "arguments" ] = json( attribute.arguments() );
   if ( !attribute.indexAttr().empty() )
      object[ "keyedBy" ] = nameText( attribute.indexAttr() );
   return object;
}

Json
json( Zet::ZetType const& type ) {
   Json attributes = Json::array();
   for ( auto const& attribute : type.attributes() )
      attributes.push_back( json( *attribute ) );
   return { { "name", nameText( type.name() ) },
            { "base", jsonName( type.base() ) },
            { "traits", traits( type ) },
            { "size", type.instanceSize() },
            { "constructor", json( type.constructorArguments() ) },
            { "attributes", attributes } };
}

// Returns all name spaces; or only the type `wanted`, a short or a full name.
// Throws: Failure, which names the nearest type, when there is no such type.
NameSpaces
chosen( NameSpaces nameSpaces, std::string const& wanted ) {
   if ( wanted.empty() )
      return nameSpaces;
   std::vector< std::string_view > names;
   for ( auto& [ nameSpace, types ] : nameSpaces )
      std::erase_if( types, [ & ]( auto const& type ) {
         names.push_back( type->name().view() );
         return type->name() != wanted && type->fullName() != wanted;
      } );
   std::erase_if( nameSpaces, []( auto const& nameSpace ) { return nameSpace.types.empty(); } );
   if ( nameSpaces.empty() ) {
      std::string list;
      for ( std::string_view const name : names )
         list += ( list.empty() ? "" : ", " ) + std::string( name );
      auto const nearest = nearestWord( wanted, names );
      throw Failure(
          ExitStatus::unknownName,
          "there is no type \"" + wanted + "\"; " +
              ( nearest ? "did you mean " + std::string( *nearest ) + "?" : "there are " + list ) );
   }
   return nameSpaces;
}

void
describe( std::string const& type, bool asJson ) {
   // Using a type of the library makes the linker load it; loading registers its types.
   UplinkFailureDetection::Root::_fwkType();
   registerStateTypes();
   NameSpaces const nameSpaces = chosen( Zet::IntrospectionReactor::global()->nameSpaces(), type );
   Json all = Json::array();
   for ( auto const& [ name, types ] : nameSpaces ) {
      Json list = Json::array();
      if ( !asJson )
         std::cout << "name space " << name.view() << "\n\n";
      for ( auto const& one : types )
         if ( asJson )
            list.push_back( json( *one ) );
         else
            print( *one );
      all.push_back( { { "nameSpace", nameText( name ) }, { "types", list } } );
   }
   if ( asJson ) {
      Json object = jsonOf( "describe", Moment::now() );
      object[ "nameSpaces" ] = std::move( all );
      std::cout << pageOf( object );
   }
}

} // namespace

void
addDescribe( CommandLine& line ) {
   struct Options {
      std::string type;
      bool asJson = false;
   };
   auto const options = std::make_shared< Options >();
   Command command = line.command(
       "describe", "Prints the types of the library and their attributes", [ options ] {
          describe( options->type, options->asJson );
          return static_cast< int >( ExitStatus::success );
       } );
   command.argument( "TYPE", options->type, "Only this type, such as GroupConfig" );
   command.flag( "--json", options->asJson, "Print JSON, for programs to read" );
}

} // namespace Ufdd
