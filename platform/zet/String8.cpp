#include "platform/zet/String8.h"

#include <algorithm>
#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>

namespace Zet {

template < class Byte > StringN< Byte >::StringN( std::string_view text ) {
   *this = joined( text, {} );
}

template < class Byte >
typename StringN< Byte >::Text*
StringN< Byte >::textOf( std::size_t size ) {
   if ( size > std::numeric_limits< std::uint32_t >::max() )
      throw std::length_error( "a string has less than 4 GiB" );
   return new ( ::operator new( sizeof( Text ) + size + 1 ) )
       Text{ 1, 0, static_cast< std::uint32_t >( size ) };
}

template < class Byte >
void
StringN< Byte >::free( Text* text ) noexcept {
   text->~Text();
   ::operator delete( text );
}

template < class Byte >
StringN< Byte >
StringN< Byte >::joined( std::string_view left, std::string_view right ) {
   StringN result;
   if ( left.empty() && right.empty() )
      return result;
   Text* const text = textOf( left.size() + right.size() );
   char* const end = std::copy( right.begin(), right.end(),
                                std::copy( left.begin(), left.end(), text->bytes() ) );
   *end = '\0';
   text->position = bitReverse( hashOfText( { text->bytes(), text->size } ) );
   result.text_ = text;
   return result;
}

template class StringN< unsigned char >;

std::ostream&
operator<<( std::ostream& stream, String8 const& text ) {
   return stream << text.view();
}

} // namespace Zet
