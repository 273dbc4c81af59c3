#include "agent/base/Printable.h"

#include <algorithm>
#include <cstddef>

namespace Ufdd {

namespace {

constexpr unsigned char
byteAt( std::string_view text, std::size_t at ) {
   return at < text.size() ? static_cast< unsigned char >( text[ at ] ) : 0;
}

constexpr bool
isPlain( char c ) {
   return c >= ' ' && c <= '~';
}

// Returns the number of bytes of the character that `text` begins with, or 0 if a terminal must not
// get it.
std::size_t
printableSize( std::string_view text ) {
   unsigned char const first = byteAt( text, 0 );
   unsigned char const second = byteAt( text, 1 );
   if ( first < 0x80 )
      return isPlain( text[ 0 ] );
   std::size_t const size = first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
   // The second byte rules out control characters, characters in more bytes than needed,
   // surrogates, and numbers beyond the last character.
   unsigned char const least = first == 0xc2 || first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
   unsigned char const most = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
   if ( first > 0xf4 || second < least || second > most )
      return 0;
   for ( std::size_t i = 2; i < size; ++i )
      if ( ( byteAt( text, i ) & 0xc0 ) != 0x80 )
         return 0;
   return size;
}

} // namespace

std::string
printable( std::string_view text ) {
   if ( std::all_of( text.begin(), text.end(), isPlain ) )
      return std::string( text );
   constexpr std::string_view digits = "0123456789abcdef";
   std::string shown;
   while ( !text.empty() ) {
      std::size_t const size = printableSize( text );
      if ( size > 0 )
         shown.append( text.substr( 0, size ) );
      else
         shown.append( "\\x" )
             .append( 1, digits[ byteAt( text, 0 ) >> 4 ] )
             .append( 1, digits[ byteAt( text, 0 ) & 15 ] );
      text.remove_prefix( std::max< std::size_t >( size, 1 ) );
   }
   return shown;
}

} // namespace Ufdd
