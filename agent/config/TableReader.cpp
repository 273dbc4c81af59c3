#include "agent/config/TableReader.h"

#include "agent/base/InterfaceName.h"
#include "agent/reflected/AttributeKind.h"
#include "platform/kelnet/IntfId.h"
#include "platform/zet/generic/ValueIf.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <sstream>

namespace Ufdd {

namespace {

using Value = Zet::Ptr< Zet::GenericIf >;
using Type = Zet::Ptr< Zet::ZetType const >;
using Whole = std::numeric_limits< unsigned int >;

// "min_links" for "minLinks"
std::string
snakeCase( std::string_view name ) {
   std::string key;
   for ( char const c : name ) {
      if ( std::isupper( static_cast< unsigned char >( c ) ) )
         key += '_';
      key += static_cast< char >( std::tolower( static_cast< unsigned char >( c ) ) );
   }
   return key;
}

template < class T >
bool
is( Type const& type ) {
   return type == Zet::TypeOf< T >::type();
}

// What a value of that type is written as.
std::string
expectation( Type const& type ) {
   if ( is< bool >( type ) )
      return "true or false";
   if ( is< unsigned int >( type ) )
      return "a whole number from 0 to " + std::to_string( Whole::max() );
   if ( is< double >( type ) )
      return "a number";
   if ( type->isEnumType() ) {
      std::string names;
      for ( auto const& enumerator : type->attributes() )
         names += ( names.empty() ? "" : ", " ) + quoted( enumerator->name().view() );
      return "one of " + names;
   }
   return "a text in quotes";
}

// What the node says, in what is nearest to that type. The object refuses what isn't it.
Value
valueOf( toml::node const& node, Type const& type ) {
   if ( auto const* const truth = node.as_boolean() )
      return Zet::valueIf( truth->get() );
   if ( auto const* const text = node.as_string() )
      return Zet::valueIf( Zet::Name( text->get() ) );
   if ( auto const* const fraction = node.as_floating_point() )
      return Zet::valueIf( fraction->get() );
   auto const* const number = node.as_integer();
   if ( !number )
      return nullptr;
   if ( !is< double >( type ) && number->get() >= 0 && number->get() <= Whole::max() )
      return Zet::valueIf( static_cast< unsigned int >( number->get() ) );
   return Zet::valueIf( static_cast< double >( number->get() ) );
}

Value
keyOf( std::string_view text, Type const& type ) {
   if ( is< Kelnet::IntfId >( type ) )
      return Zet::valueIf( Kelnet::IntfId( text ) );
   return Zet::valueIf( Zet::Name( text ) );
}

std::string_view
keyExpectation( Type const& type ) {
   return is< Kelnet::IntfId >( type ) ? "the name of an interface as a text in quotes"
                                       : "a text in quotes";
}

// "-1" for a number, else what kind of thing it is.
std::string
found( toml::node const& node ) {
   std::ostringstream text;
   if ( auto const* const number = node.as_integer() )
      text << number->get();
   else
      text << typeOf( node );
   return text.str();
}

bool
isList( Zet::ZetAttr const& attribute ) {
   return is< bool >( attribute.valueType() );
}

// "monitor = [ "...", ... ]"
std::string
form( std::string const& key, Zet::ZetAttr const& attribute ) {
   if ( !attribute.keyType() )
      return key + " = ...";
   return key + ( isList( attribute ) ? " = [ \"...\", ... ]" : " = { \"...\" = ..., ... }" );
}

std::string
members( Zet::ZetAttr const& attribute ) {
   return is< Kelnet::IntfId >( attribute.keyType() ) ? "interface names" : "texts";
}

} // namespace

Place
placeOf( toml::node const& node ) {
   return { node.source().begin.line, node.source().begin.column };
}

std::string_view
typeOf( toml::node const& node ) {
   switch ( node.type() ) {
   case toml::node_type::table:
      return "a table";
   case toml::node_type::array:
      return "a list";
   case toml::node_type::string:
      return "a text";
   case toml::node_type::integer:
      return "a number";
   case toml::node_type::floating_point:
      return "a fraction";
   case toml::node_type::boolean:
      return "true or false";
   default:
      return "a date or time";
   }
}

TableReader::TableReader( Zet::ZetType const& type, std::span< ShortName const > shortNames,
                          Findings& findings )
    : findings_( findings ) {
   for ( auto const& descriptor : type.attributes() ) {
      if ( !isConfiguration( *descriptor ) )
         continue;
      std::string_view const name = descriptor->name().view();
      auto const at =
          std::find_if( shortNames.begin(), shortNames.end(),
                        [ name ]( ShortName const& s ) { return s.attribute == name; } );
      attributes_.push_back(
          { descriptor, snakeCase( name ), std::string( at == shortNames.end() ? "" : at->key ) } );
   }
}

std::vector< std::string >
TableReader::keys() const {
   std::vector< std::string > keys;
   for ( Attribute const& attribute : attributes_ )
      keys.push_back( attribute.shown() );
   return keys;
}

bool
TableReader::reads( std::string_view key ) const {
   return std::any_of( attributes_.begin(), attributes_.end(),
                       [ key ]( Attribute const& a ) { return a.key == key || a.shown() == key; } );
}

TableReader::Places
TableReader::read( toml::table const& table, Zet::GenericIf& object, std::string_view thing ) {
   Places places;
   for ( Attribute const& attribute : attributes_ ) {
      toml::node const* const node = find( table, attribute, thing );
      if ( !node )
         continue;
      if ( attribute.descriptor->keyType() )
         readMembers( *node, attribute, object, places[ attribute.descriptor->id() ] );
      else
         set( *node, attribute, object, nullptr,
              valueOf( *node, attribute.descriptor->valueType() ) );
   }
   return places;
}

toml::node const*
TableReader::find( toml::table const& table, Attribute const& attribute, std::string_view thing ) {
   toml::node const* const node = table.get( attribute.shown() );
   toml::node const* const other = table.get( attribute.key );
   if ( node && other && node != other )
      findings_.error( placeOf( *other ), quoted( attribute.key ) + " is another word for " +
                                              quoted( attribute.shortKey ) +
                                              ", which is here as well; write only one of them" );
   if ( !node && !other && !attribute.shortKey.empty() )
      findings_.error( placeOf( table ), std::string( thing ) + " has no list of interfaces to " +
                                             attribute.shortKey + "; expected " +
                                             form( attribute.shortKey, *attribute.descriptor ) );
   return node ? node : other;
}

void
TableReader::readMembers( toml::node const& node, Attribute const& attribute,
                          Zet::GenericIf& object, Places::mapped_type& places ) {
   Zet::ZetAttr const& descriptor = *attribute.descriptor;
   bool const asList = isList( descriptor );
   if ( asList ? !node.is_array() : !node.is_table() )
      return findings_.error( placeOf( node ), "expected a " +
                                                   std::string( asList ? "list" : "table" ) +
                                                   " of " + members( descriptor ) + ", " +
                                                   form( attribute.shown(), descriptor ) +
                                                   ", not " + std::string( typeOf( node ) ) );
   if ( !asList ) {
      for ( auto&& [ key, value ] : *node.as_table() )
         readMember( key.str(), value, &value, attribute, object, places );
      return;
   }
   for ( toml::node const& element : *node.as_array() )
      if ( auto const* const text = element.as_string() )
         readMember( text->get(), element, nullptr, attribute, object, places );
      else
         findings_.error( placeOf( element ),
                          "expected " + std::string( keyExpectation( descriptor.keyType() ) ) +
                              ", not " + std::string( typeOf( element ) ) );
}

void
TableReader::readMember( std::string_view key, toml::node const& at, toml::node const* value,
                         Attribute const& attribute, Zet::GenericIf& object,
                         Places::mapped_type& places ) {
   Zet::ZetAttr const& descriptor = *attribute.descriptor;
   if ( is< Kelnet::IntfId >( descriptor.keyType() ) )
      if ( auto const objection = InterfaceName::objection( key ); !objection.empty() )
         return findings_.error(
             placeOf( at ),
             quoted( key ) + " is not the name of an interface: " + std::string( objection ) );
   if ( !places.try_emplace( std::string( key ), placeOf( at ) ).second )
      return findings_.error( placeOf( at ), quoted( key ) + " is in this list already" );
   set( at, attribute, object, keyOf( key, descriptor.keyType() ),
        value ? valueOf( *value, descriptor.valueType() ) : Zet::valueIf( true ) );
}

void
TableReader::set( toml::node const& node, Attribute const& attribute, Zet::GenericIf& object,
                  Value const& key, Value const& value ) {
   Zet::ZetAttr const& descriptor = *attribute.descriptor;
   auto const refuse = [ & ]( std::string const& what ) {
      findings_.error( placeOf( node ), "expected " + attribute.shown() + " to be " +
                                            expectation( descriptor.valueType() ) + ", not " +
                                            what );
   };
   try {
      object.attributeOp( { descriptor.id(), Zet::GenericIf::set }, key, value );
   } catch ( Zet::GenericIfException const& failure ) {
      if ( failure.kind() != Zet::GenericIfException::type )
         throw;
      refuse( found( node ) );
   } catch ( Zet::RangeException const& ) {
      // Of the right type, but not one of the values that are allowed.
      refuse( node.is_string() ? quoted( **node.as_string() ) : found( node ) );
   }
}

} // namespace Ufdd
