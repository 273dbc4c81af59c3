#include "agent/config/NameReader.h"

#include "agent/base/InterfaceName.h"
#include "agent/base/Printable.h"
#include "agent/config/TomlValue.h"

#include <string>

namespace Ufdd {

bool
NameReader::isCollection( toml::node const& node, bool is, std::string_view key,
                          std::string_view form ) {
   if ( !is )
      findings_.error(
          placeOf( node ),
          std::string( form == listForm ? "expected a list of " : "expected a table of " ) +
              ( kind_ == Kind::interfaces ? "interface names, " : "texts, " ) + std::string( key ) +
              " = " + std::string( form ) + ", not " + std::string( typeOf( node ) ) );
   return is;
}

void
NameReader::readList( toml::node const& node, std::string_view key ) {
   if ( !isCollection( node, node.is_array(), key, listForm ) )
      return;
   for ( toml::node const& element : *node.as_array() )
      if ( element.is_string() )
         addNew( **element.as_string(), element );
      else
         findings_.error( placeOf( element ),
                          std::string( kind_ == Kind::interfaces
                                           ? "expected the name of an interface as "
                                           : "expected " ) +
                              "a text in quotes, not " + std::string( typeOf( element ) ) );
}

bool
NameReader::addNew( std::string_view name, toml::node const& at ) {
   std::string why;
   if ( kind_ == Kind::interfaces )
      if ( auto const objection = InterfaceName::objection( name ); !objection.empty() )
         why = " is not the name of an interface: " + std::string( objection );
   if ( why.empty() && !places_.try_emplace( std::string( name ), placeOf( at ) ).second )
      why = " is in this list already";
   if ( !why.empty() )
      findings_.error( placeOf( at ), inQuotes( name ) + why );
   return why.empty();
}

} // namespace Ufdd
