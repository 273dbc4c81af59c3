#include "agent/config/OptionReader.h"

#include "agent/base/NearestWord.h"
#include "agent/base/Printable.h"
#include "platform/zet/attrlog/Format.h"

#include <cstdio>
#include <utility>

namespace Ufdd {

void
OptionReader::readNumber( toml::table const& table, std::string_view key, std::string_view unit,
                          std::uint32_t min, std::uint32_t max, std::uint32_t& number ) {
   read( table, key,
         "a whole number" + std::string( unit ) + " from " + std::to_string( min ) + " to " +
             std::to_string( max ),
         number,
         [ = ]( auto const& node ) { return TomlValue< unsigned int >::read( node, min, max ); } );
}

void
OptionReader::readSeconds( toml::table const& table, std::string_view key, double& seconds,
                           double min, double max ) {
   char range[ 64 ];
   std::snprintf( range, sizeof range, "a number of seconds from %g to %g", min, max );
   read( table, key, range, seconds, [ = ]( auto const& node ) {
      auto const value = TomlValue< double >::read( node );
      return value && *value >= min && *value <= max ? value : std::nullopt;
   } );
}

void
OptionReader::readFlag( toml::table const& table, std::string_view key, bool& flag ) {
   read( table, key, TomlValue< bool >::expectation(), flag, TomlValue< bool >::read );
}

void
OptionReader::reportUnknown( toml::key const& key, std::vector< std::string > const& shown,
                             std::string_view where ) {
   std::vector< std::string_view > const known( shown.begin(), shown.end() );
   std::string text = "unknown key " + inQuotes( key.str() ) + " in " + std::string( where );
   if ( auto const nearest = nearestWord( key.str(), known ) ) {
      text += "; did you mean " + inQuotes( *nearest ) + "?";
   } else {
      text += "; expected ";
      for ( std::size_t i = 0; i < known.size(); ++i )
         text += ( i ? ", " : "" ) + std::string( known[ i ] );
   }
   findings_.error( { key.source().begin.line, key.source().begin.column }, std::move( text ) );
}

std::string
OptionReader::readName( toml::table const& table, std::string const& kind,
                        std::map< std::string, Place, std::less<> >& places ) {
   auto const fail = [ this ]( toml::node const& node, std::string text ) {
      findings_.error( placeOf( node ), std::move( text ) );
      return std::string();
   };
   toml::node const* const node = table.get( "name" );
   if ( !node )
      return fail( table, "this " + kind + " has no name; expected name = \"...\"" );
   if ( !node->is_string() )
      return fail( *node, "expected the name of the " + kind + " as a text in quotes, not " +
                              std::string( typeOf( *node ) ) );
   std::string const name = **node->as_string();
   if ( name.empty() )
      return fail( *node, "the name of a " + kind + " can't be empty" );
   if ( name.size() > Zet::NboAttrLog::stringLimit )
      return fail( *node, "the name of a " + kind + " has at most " +
                              std::to_string( Zet::NboAttrLog::stringLimit ) + " bytes, not " +
                              std::to_string( name.size() ) );
   if ( printable( name ) != name )
      return fail( *node, "the name of a " + kind + " can't have control characters in it" );
   auto const [ first, isNew ] = places.try_emplace( name, placeOf( *node ) );
   if ( !isNew )
      return fail( *node, "there is a " + kind + ' ' + inQuotes( name ) + " on line " +
                              std::to_string( first->second.line ) + " already; each " + kind +
                              " needs a name of its own" );
   return name;
}

} // namespace Ufdd
