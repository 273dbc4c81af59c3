#include "agent/config/TomlValue.h"

#include <sstream>

namespace Ufdd {

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

std::string
found( toml::node const& node ) {
   std::ostringstream text;
   if ( auto const* const whole = node.as_integer() )
      text << whole->get();
   else if ( auto const* const fraction = node.as_floating_point() )
      text << fraction->get();
   else if ( auto const* const string = node.as_string() )
      text << inQuotes( string->get() );
   else
      text << typeOf( node );
   return text.str();
}

std::string
mismatch( std::string_view key, std::string_view expectation, toml::node const& node ) {
   return "expected " + std::string( key ) + " to be " + std::string( expectation ) + ", not " +
          found( node );
}

std::optional< unsigned int >
TomlValue< unsigned int >::read( toml::node const& node, unsigned int min, unsigned int max ) {
   auto const* const number = node.as_integer();
   if ( !number || number->get() < min || number->get() > max )
      return {};
   return static_cast< unsigned int >( number->get() );
}

std::optional< double >
TomlValue< double >::read( toml::node const& node ) {
   if ( auto const* const whole = node.as_integer() )
      return static_cast< double >( whole->get() );
   return node.value_exact< double >();
}

} // namespace Ufdd
