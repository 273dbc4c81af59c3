#include "agent/config/CheckReader.h"

#include "agent/base/Printable.h"
#include "agent/config/NameReader.h"
#include "agent/config/TomlValue.h"
#include "agent/kernel/Prefix.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

using Kind = CheckSettings::Kind;

constexpr std::size_t maxName = 64;      // In bytes.
constexpr std::size_t maxCommand = 4096; // In bytes, with all arguments.

constexpr unsigned int
bit( Kind kind ) {
   return 1u << static_cast< unsigned int >( kind );
}
constexpr unsigned int all = bit( Kind::reported ) | bit( Kind::neighbour ) | bit( Kind::command );
constexpr unsigned int asking = bit( Kind::neighbour ) | bit( Kind::command );

// A key, and the kinds of checks that have it.
struct Key {
   std::string_view word;
   unsigned int kinds;
};
constexpr std::array< Key, 12 > keys{ {
    { "name", all },
    { "uplinks", all },
    { "kind", all },
    { "rise", all },
    { "fall", all },
    { "start", all },
    { "on_unknown", all },
    { "ttl", bit( Kind::reported ) | bit( Kind::command ) },
    { "interval", asking },
    { "timeout", asking },
    { "address", bit( Kind::neighbour ) },
    { "command", bit( Kind::command ) },
} };

std::string
kindsText( unsigned int kinds ) {
   std::string text;
   for ( auto const& [ word, kind ] : CheckSettings::kinds )
      if ( ( kinds & bit( kind ) ) != 0 )
         text += ( text.empty() ? "" : " or " ) + inQuotes( word );
   return text;
}

std::string
secondsText( double seconds ) {
   char text[ 32 ];
   std::snprintf( text, sizeof text, "%g s", seconds );
   return text;
}

} // namespace

CheckSettings
CheckReader::read( toml::table const& table ) {
   CheckSettings check;
   check.place = placeOf( table );
   options_.readWord( table, "kind", CheckSettings::kinds, check.kind );
   bool const hasKind = table.contains( "kind" );
   if ( !hasKind )
      findings_.error( check.place, "this check has no kind; expected kind = " + kindsText( all ) );
   // Without a kind, it may be of any.
   unsigned int const kinds = hasKind ? bit( check.kind ) : all;
   checkKeys( table, kinds );
   readName( table, check );
   readUplinks( table, check );
   options_.readNumber( table, "rise", "", 1, 100, check.rise );
   options_.readNumber( table, "fall", "", 1, 100, check.fall );
   constexpr std::array< std::pair< std::string_view, bool >, 2 > starts{ { { "up", true },
                                                                            { "down", false } } };
   options_.readWord( table, "start", starts, check.startsUp );
   options_.readWord( table, "on_unknown", CheckSettings::unknowns, check.onUnknown );
   readTimes( table, check );
   if ( ( kinds & bit( Kind::neighbour ) ) != 0 && ( hasKind || table.contains( "address" ) ) )
      readAddress( table, check );
   if ( ( kinds & bit( Kind::command ) ) != 0 && ( hasKind || table.contains( "command" ) ) )
      readCommand( table, check );
   return check;
}

void
CheckReader::checkKeys( toml::table const& table, unsigned int kinds ) {
   std::vector< std::string > shown;
   for ( Key const& key : keys )
      if ( ( key.kinds & kinds ) != 0 )
         shown.emplace_back( key.word );
   options_.checkKeys( table, shown, "a check", [ & ]( std::string_view word ) {
      auto const* const key = std::ranges::find( keys, word, &Key::word );
      if ( key == keys.end() )
         return false;
      if ( ( key->kinds & kinds ) == 0 )
         findings_.error( placeOf( *table.get( word ) ),
                          inQuotes( word ) + " is for checks of kind " + kindsText( key->kinds ) +
                              ", and this one is of kind " + kindsText( kinds ) + "; remove it" );
      return true;
   } );
}

void
CheckReader::readName( toml::table const& table, CheckSettings& check ) {
   check.name = options_.readName( table, "check", places_ );
   bool const hasSpace = std::ranges::any_of(
       check.name, []( unsigned char byte ) { return byte <= ' ' || byte == 0x7f; } );
   if ( hasSpace || check.name.size() > maxName )
      findings_.error( placeOf( *table.get( "name" ) ),
                       "the name of a check has no white space in it, and at most " +
                           std::to_string( maxName ) + " bytes" );
}

void
CheckReader::readUplinks( toml::table const& table, CheckSettings& check ) {
   toml::node const* const list = table.get( "uplinks" );
   if ( list )
      NameReader( NameReader::Kind::interfaces, findings_, check.uplinkPlaces )
          .readList( *list, "uplinks" );
   for ( auto const& [ name, place ] : check.uplinkPlaces )
      check.uplinks.emplace_back( name );
   if ( !list || ( list->is_array() && list->as_array()->empty() ) )
      findings_.error( list ? placeOf( *list ) : check.place,
                       "this check has no uplinks; expected uplinks = [ \"...\", ... ]" );
   else if ( check.kind == Kind::neighbour && check.uplinks.size() > 1 )
      findings_.error( placeOf( *list ), "a neighbour is on one uplink; write a check for each" );
}

void
CheckReader::readAddress( toml::table const& table, CheckSettings& check ) {
   if ( !table.contains( "address" ) )
      return findings_.error( check.place, "this check has no address; expected address = "
                                           "\"10.0.0.1\", of the neighbour on the uplink" );
   auto const isOfOne = []( Prefix const& prefix ) {
      auto const& bytes = prefix.address;
      bool const isMulticast = prefix.isV6 ? bytes[ 0 ] == 0xff : bytes[ 0 ] >= 224;
      bool const isLoopback = prefix.isV6 ? prefix.text() == "::1/128" : bytes[ 0 ] == 127;
      return !isMulticast && !isLoopback &&
             std::ranges::any_of( bytes, []( auto byte ) { return byte != 0; } );
   };
   options_.read( table, "address", "the address of one neighbour, as \"10.0.0.1\" or \"fe80::1\"",
                  check.address, [ & ]( toml::node const& node ) {
                     using Address = std::optional< Prefix >;
                     auto const text = node.value_exact< std::string_view >();
                     Address const address = text ? Prefix::readAddress( *text ) : std::nullopt;
                     bool const isValid = address && isOfOne( *address );
                     return isValid ? std::optional< Address >( std::in_place, address )
                                    : std::optional< Address >();
                  } );
}

void
CheckReader::readCommand( toml::table const& table, CheckSettings& check ) {
   toml::node const* const list = table.get( "command" );
   std::string const form = "expected a list of a program's path and its arguments, "
                            R"(command = [ "/...", "...", ... ])";
   if ( !list )
      return findings_.error( check.place, "this check has no command; " + form );
   if ( !list->is_array() || list->as_array()->empty() )
      return findings_.error( placeOf( *list ), form + ", not " + found( *list ) );
   std::size_t size = 0;
   for ( toml::node const& node : *list->as_array() ) {
      auto const text = node.value_exact< std::string >();
      if ( !text )
         return findings_.error( placeOf( node ), form + ", not " + found( node ) );
      if ( printable( *text ) != *text )
         return findings_.error( placeOf( node ), "a command can't have control characters in it" );
      size += text->size() + 1;
      check.command.push_back( *text );
   }
   if ( !check.command.front().starts_with( '/' ) )
      findings_.error( placeOf( *list ),
                       "expected the path of a program, beginning with a slash, not " +
                           inQuotes( check.command.front() ) );
   if ( size > maxCommand )
      findings_.error( placeOf( *list ), "a command has at most " + std::to_string( maxCommand ) +
                                             " bytes, not " + std::to_string( size ) );
}

void
CheckReader::readTimes( toml::table const& table, CheckSettings& check ) {
   options_.readSeconds( table, "interval", check.interval, 0.05, 3600 );
   check.timeout = 0.8 * check.interval;
   options_.readSeconds( table, "timeout", check.timeout, 0.01, 3600 );
   bool const isAsking = ( bit( check.kind ) & asking ) != 0;
   if ( isAsking && check.timeout > check.interval )
      findings_.error( placeOf( *table.get( "timeout" ) ),
                       "the timeout, " + secondsText( check.timeout ) +
                           ", is longer than the interval, " + secondsText( check.interval ) +
                           "; raise interval or lower timeout" );
   double const longest = check.interval + check.timeout; // Between two reports.
   if ( check.kind == Kind::command )
      check.ttl = std::max( 3., 3 * longest );
   options_.readSeconds( table, "ttl", check.ttl, 0.1, 86400 );
   if ( check.kind == Kind::command && check.ttl < longest )
      findings_.warning( placeOf( *table.get( "ttl" ) ),
                         "the ttl is shorter than interval and timeout together, " +
                             secondsText( longest ) + ": the result may be unknown in between" );
}

} // namespace Ufdd
