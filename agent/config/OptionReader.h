#pragma once

#include "agent/config/TomlValue.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// Reads options that are single values. An option keeps its value if the table does not have the
// key. Reports errors and goes on.
class OptionReader {
 public:
   // Borrows: findings.
   explicit OptionReader( Findings& findings ) : findings_( findings ) {}

   // Reads the option by valueIn( node ), which returns nothing for a value that can't be used.
   // `expectation` says what to write, to follow "to be".
   template < class V, class Read >
   void read( toml::table const& table, std::string_view key, std::string const& expectation,
              V& option, Read valueIn );
   // Reads one of the words of a table of words and values.
   template < class Words, class V >
   void readWord( toml::table const& table, std::string_view key, Words const& words, V& option );
   void readNumber( toml::table const& table, std::string_view key, std::string_view unit,
                    std::uint32_t min, std::uint32_t max, std::uint32_t& number );
   void readSeconds( toml::table const& table, std::string_view key, double& seconds,
                     double min = 0, double max = 86400 );
   void readFlag( toml::table const& table, std::string_view key, bool& flag );
   // Reads the name of a thing of that kind, which no other of `places` may have. Returns an empty
   // name, with an error, if there is none or one that can't be used.
   std::string readName( toml::table const& table, std::string const& kind,
                         std::map< std::string, Place, std::less<> >& places );
   // Reports each key that is not among `shown` and for which alright( key ) returns false. `where`
   // names the table in the error; `shown` are the keys that the error may suggest.
   template < class Alright >
   void checkKeys( toml::table const& table, std::vector< std::string > const& shown,
                   std::string_view where, Alright alright );

 private:
   void reportUnknown( toml::key const& key, std::vector< std::string > const& shown,
                       std::string_view where );

   Findings& findings_;
};

template < class V, class Read >
void
OptionReader::read( toml::table const& table, std::string_view key, std::string const& expectation,
                    V& option, Read valueIn ) {
   toml::node const* const node = table.get( key );
   if ( !node )
      return;
   if ( std::optional< V > const value = valueIn( *node ) )
      option = *value;
   else
      findings_.error( placeOf( *node ), mismatch( key, expectation, *node ) );
}

template < class Words, class V >
void
OptionReader::readWord( toml::table const& table, std::string_view key, Words const& words,
                        V& option ) {
   std::string expectation;
   for ( auto const& entry : words )
      expectation += ( expectation.empty()       ? ""
                       : &entry == &words.back() ? " or "
                                                 : ", " ) +
                     inQuotes( entry.first );
   read( table, key, expectation, option, [ & ]( toml::node const& node ) -> std::optional< V > {
      for ( auto const& [ word, value ] : words )
         if ( word == node.value< std::string_view >() )
            return value;
      return std::nullopt;
   } );
}

template < class Alright >
void
OptionReader::checkKeys( toml::table const& table, std::vector< std::string > const& shown,
                         std::string_view where, Alright alright ) {
   for ( auto&& [ key, value ] : table )
      if ( !alright( key.str() ) &&
           std::find( shown.begin(), shown.end(), key.str() ) == shown.end() )
         reportUnknown( key, shown, where );
}

} // namespace Ufdd
