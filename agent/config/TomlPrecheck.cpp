#include "agent/config/TomlDepth.h"

#include <algorithm>
#include <vector>

namespace Ufdd {

namespace {

constexpr std::string_view threeDouble = "\"\"\"";
constexpr std::string_view threeSingle = "'''";

// Returns the size of the string that `text` begins with, up to the end of the line or the text if
// the string has no end.
std::size_t
sizeOfString( std::string_view text ) {
   char const quote = text.front();
   std::string_view const three = quote == '"' ? threeDouble : threeSingle;
   bool const isLong = text.starts_with( three );
   std::size_t at = isLong ? 3 : 1;
   for ( ; at < text.size(); ++at ) {
      if ( !isLong && ( text[ at ] == quote || text[ at ] == '\n' ) )
         return at + ( text[ at ] == quote );
      if ( isLong && text.substr( at ).starts_with( three ) ) {
         // The last of these quotes end the string; at most two belong to it.
         std::size_t const quotes = text.substr( at, 5 ).find_first_not_of( quote );
         return at + ( quotes == std::string_view::npos
                           ? std::min< std::size_t >( text.size() - at, 5 )
                           : quotes );
      }
      at += quote == '"' && text[ at ] == '\\';
   }
   return text.size();
}

Place
placeAt( std::string_view text, std::size_t at ) {
   std::string_view const before = text.substr( 0, at );
   auto const line = static_cast< std::uint32_t >( std::ranges::count( before, '\n' ) );
   // npos + 1 is 0: the first line.
   std::string_view const rest = before.substr( before.rfind( '\n' ) + 1 );
   // Bytes that continue a character of UTF-8 are no column of their own.
   auto const columns = static_cast< std::uint32_t >(
       std::ranges::count_if( rest, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
   return { line + 1, columns + 1 };
}

} // namespace

std::optional< Place >
findTooDeep( std::string_view text, std::size_t most ) {
   std::vector< std::size_t > outside; // For each open bracket, the depth before it.
   std::size_t depth = 0;
   for ( std::size_t at = 0; at < text.size(); ++at ) {
      switch ( text[ at ] ) {
      case '#':
         at = std::min( text.find( '\n', at ), text.size() ) - 1;
         break;
      case '"':
      case '\'':
         at += sizeOfString( text.substr( at ) ) - 1;
         break;
      case '[':
      case '{':
         outside.push_back( depth++ );
         break;
      case '.':
         ++depth;
         break;
      case ']':
      case '}':
         if ( !outside.empty() ) {
            depth = outside.back();
            outside.pop_back();
         }
         break;
      case ',':
         depth = outside.empty() ? 0 : outside.back() + 1;
         break;
      case '\n':
         if ( outside.empty() )
            depth = 0;
         break;
      default:
         break;
      }
      if ( depth > most )
         return placeAt( text, at );
   }
   return std::nullopt;
}

} // namespace Ufdd
