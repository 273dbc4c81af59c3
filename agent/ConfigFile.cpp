#include "agent/ConfigFile.h"

#include "agent/InterfaceName.h"
#include "agent/NearestWord.h"

#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <sstream>
#include <utility>

namespace Ufdd {

namespace {

using Position = toml::source_position;

std::string
quoted( std::string_view text ) {
   return '"' + std::string( text ) + '"';
}

std::string_view
typeName( toml::node const& node ) {
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

Position
begin( toml::node const& node ) {
   return node.source().begin;
}

bool
precedes( Position const& left, Position const& right ) {
   return std::pair( left.line, left.column ) < std::pair( right.line, right.column );
}

// Reads the tables of one file, and goes on after an error.
class Reader {
 public:
   struct Error {
      Position position;
      std::string text;
   };

   void readFile( toml::table const& file );

   std::vector< GroupSettings > groups;
   DetectionSettings detection;
   std::uint32_t protoDownReason = ConfigFile().protoDownReason;
   std::vector< Error > errors;

 private:
   // Where each interface of a list stands.
   using Places = std::map< std::string, Position, std::less<> >;

   static constexpr std::array< std::string_view, 4 > fileKeys{ "group", "detection",
                                                                "detection_interval",
                                                                "protodown_reason" };
   static constexpr std::array< std::string_view, 4 > groupKeys{ "name", "monitor", "disable",
                                                                 "min_links" };

   void readDetection( toml::table const& file );
   void readNumber( toml::table const& file, std::string_view key, std::string_view unit,
                    std::uint32_t min, std::uint32_t max, std::uint32_t& number );
   void readGroup( toml::table const& table );
   void readName( toml::table const& table, std::string& name );
   void readMinLinks( toml::node const& node, std::uint32_t& minLinks );
   Places readInterfaces( toml::table const& table, std::string_view key,
                          std::vector< std::string >& interfaces );
   void checkKeys( toml::table const& table, std::span< std::string_view const > known,
                   std::string_view where );
   void error( Position position, std::string text );

   std::map< std::string, Position, std::less<> > groupPlaces_;
};

void
Reader::error( Position position, std::string text ) {
   errors.push_back( { position, std::move( text ) } );
}

void
Reader::checkKeys( toml::table const& table, std::span< std::string_view const > known,
                   std::string_view where ) {
   for ( auto&& [ key, value ] : table ) {
      if ( std::find( known.begin(), known.end(), key.str() ) != known.end() )
         continue;
      std::string text = "unknown key " + quoted( key.str() ) + " in " + std::string( where );
      if ( auto const nearest = nearestWord( key.str(), known ) ) {
         text += "; did you mean " + quoted( *nearest ) + "?";
      } else {
         text += "; expected ";
         for ( std::size_t i = 0; i < known.size(); ++i )
            text += ( i ? ", " : "" ) + std::string( known[ i ] );
      }
      error( key.source().begin, std::move( text ) );
   }
}

void
Reader::readFile( toml::table const& file ) {
   checkKeys( file, fileKeys, "the file" );
   readDetection( file );
   readNumber( file, "protodown_reason", "", 0, 31, protoDownReason );
   toml::node const* const list = file.get( "group" );
   if ( !list )
      return;
   if ( !list->is_array_of_tables() && !( list->is_array() && list->as_array()->empty() ) ) {
      error( begin( *list ),
             "expected groups that begin with [[group]], not " + std::string( typeName( *list ) ) );
      return;
   }
   for ( toml::node const& group : *list->as_array() )
      readGroup( *group.as_table() );
}

void
Reader::readDetection( toml::table const& file ) {
   using Mode = DetectionSettings::Mode;
   static constexpr std::array< std::pair< std::string_view, Mode >, 3 > modes{
      { { "events", Mode::events }, { "verify", Mode::verify }, { "poll", Mode::poll } }
   };
   if ( toml::node const* const node = file.get( "detection" ) ) {
      auto const word = node->value< std::string_view >();
      auto const mode = std::find_if( modes.begin(), modes.end(),
                                      [ & ]( auto const& m ) { return m.first == word; } );
      if ( mode != modes.end() )
         detection.mode = mode->second;
      else
         error( begin( *node ),
                "expected detection to be \"events\", \"verify\" or \"poll\", not " +
                    ( word ? quoted( *word ) : std::string( typeName( *node ) ) ) );
   }
   readNumber( file, "detection_interval", " of milliseconds", 1, DetectionSettings::maxIntervalMs,
               detection.intervalMs );
}

void
Reader::readNumber( toml::table const& file, std::string_view key, std::string_view unit,
                    std::uint32_t min, std::uint32_t max, std::uint32_t& number ) {
   toml::node const* const node = file.get( key );
   if ( !node )
      return;
   std::int64_t const value = node->is_integer() ? node->as_integer()->get() : -1;
   if ( value < min || value > max )
      return error( begin( *node ), "expected " + std::string( key ) + " to be a whole number" +
                                        std::string( unit ) + " from " + std::to_string( min ) +
                                        " to " + std::to_string( max ) );
   number = static_cast< std::uint32_t >( value );
}

void
Reader::readGroup( toml::table const& table ) {
   checkKeys( table, groupKeys, "a group" );
   GroupSettings group;
   readName( table, group.name );
   Places const monitored = readInterfaces( table, "monitor", group.monitor );
   for ( auto const& [ name, position ] : readInterfaces( table, "disable", group.disable ) )
      if ( monitored.contains( name ) )
         error( position, quoted( name ) + " is monitored by this group and can't be disabled "
                                           "by it as well; remove it from one of the lists" );
   if ( toml::node const* const minLinks = table.get( "min_links" ) )
      readMinLinks( *minLinks, group.minLinks );
   groups.push_back( std::move( group ) );
}

void
Reader::readName( toml::table const& table, std::string& name ) {
   toml::node const* const node = table.get( "name" );
   if ( !node )
      return error( begin( table ), "this group has no name; expected name = \"...\"" );
   if ( !node->is_string() )
      return error( begin( *node ), "expected the name of the group as a text in quotes, not " +
                                        std::string( typeName( *node ) ) );
   name = **node->as_string();
   if ( name.empty() )
      return error( begin( *node ), "the name of a group can't be empty" );
   if ( std::any_of( name.begin(), name.end(),
                     []( unsigned char c ) { return c < ' ' || c == 0x7f; } ) )
      return error( begin( *node ), "the name of a group can't have control characters in it" );
   auto const [ first, isNew ] = groupPlaces_.try_emplace( name, begin( *node ) );
   if ( !isNew )
      error( begin( *node ), "there is a group " + quoted( name ) + " on line " +
                                 std::to_string( first->second.line ) +
                                 " already; each group needs a name of its own" );
}

void
Reader::readMinLinks( toml::node const& node, std::uint32_t& minLinks ) {
   using Limits = std::numeric_limits< std::uint32_t >;
   auto const* const number = node.as_integer();
   if ( !number || number->get() < 0 || number->get() > Limits::max() ) {
      std::ostringstream found;
      if ( number )
         found << number->get();
      else
         found << typeName( node );
      return error( begin( node ), "expected min_links to be a whole number from 0 to " +
                                       std::to_string( Limits::max() ) + ", not " + found.str() );
   }
   minLinks = static_cast< std::uint32_t >( number->get() );
}

Reader::Places
Reader::readInterfaces( toml::table const& table, std::string_view key,
                        std::vector< std::string >& interfaces ) {
   Places places;
   toml::node const* const node = table.get( key );
   std::string const expected = std::string( key ) + " = [ \"...\", ... ]";
   if ( !node ) {
      error( begin( table ), "this group has no list of interfaces to " + std::string( key ) +
                                 "; expected " + expected );
      return places;
   }
   if ( !node->is_array() ) {
      error( begin( *node ), "expected a list of interface names, " + expected + ", not " +
                                 std::string( typeName( *node ) ) );
      return places;
   }
   for ( toml::node const& element : *node->as_array() ) {
      if ( !element.is_string() ) {
         error( begin( element ), "expected the name of an interface as a text in quotes, not " +
                                      std::string( typeName( element ) ) );
         continue;
      }
      std::string const& name = **element.as_string();
      if ( auto const objection = InterfaceName::objection( name ); !objection.empty() )
         error( begin( element ),
                quoted( name ) + " is not the name of an interface: " + std::string( objection ) );
      else if ( !places.try_emplace( name, begin( element ) ).second )
         error( begin( element ), quoted( name ) + " is in this list already" );
      else
         interfaces.push_back( name );
   }
   return places;
}

std::string
located( std::string_view file, Position position, std::string_view text ) {
   std::ostringstream line;
   line << file << ':' << position.line << ':' << position.column << ": " << text;
   return line.str();
}

} // namespace

ConfigFile
parseConfig( std::string_view text, std::string_view file ) {
   ConfigFile result;
   Reader reader;
   try {
      reader.readFile( toml::parse( text, file ) );
   } catch ( toml::parse_error const& error ) {
      result.errors = { located( file, error.source().begin, error.description() ) };
      return result;
   }
   std::stable_sort( reader.errors.begin(), reader.errors.end(),
                     []( Reader::Error const& left, Reader::Error const& right ) {
                        return precedes( left.position, right.position );
                     } );
   for ( Reader::Error const& error : reader.errors )
      result.errors.push_back( located( file, error.position, error.text ) );
   result.groups = std::move( reader.groups );
   result.detection = reader.detection;
   result.protoDownReason = reader.protoDownReason;
   return result;
}

ConfigFile
readConfig( std::string const& file ) {
   std::string text;
   std::unique_ptr< std::FILE, int ( * )( std::FILE* ) > const stream(
       std::fopen( file.c_str(), "re" ), std::fclose );
   if ( stream ) {
      std::array< char, 4096 > part;
      while ( std::size_t const size = std::fread( part.data(), 1, part.size(), stream.get() ) )
         text.append( part.data(), size );
   }
   if ( !stream || std::ferror( stream.get() ) ) {
      ConfigFile result;
      result.errors = { file + ": can't be read: " + std::strerror( errno ) };
      return result;
   }
   return parseConfig( text, file );
}

} // namespace Ufdd
