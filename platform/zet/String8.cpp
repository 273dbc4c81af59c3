#include "platform/zet/String8.h"

#include "platform/zet/ObjectPool.h"

#include <algorithm>
#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>

namespace Zet {

template < class Byte > StringN< Byte >::StringN( std::string_view text ) {
   *this = joined( text, {} );
}

// Returns the memory that a text of that size takes, with the zero byte behind it.
template < class Byte >
std::size_t
StringN< Byte >::memoryOf( std::size_t size ) noexcept {
   return sizeof( Text ) + size + 1;
}

template < class Byte >
typename StringN< Byte >::Text*
StringN< Byte >::textOf( std::size_t size ) {
   if ( size > std::numeric_limits< std::uint32_t >::max() )
      throw std::length_error( "a string has less than 4 GiB" );
   return new ( objectPoolNew( memoryOf( size ) ) )
       Text{ 1, 0, static_cast< std::uint32_t >( size ) };
}

template < class Byte >
void
StringN< Byte >::free( Text* text ) noexcept {
   objectPoolDelete( text, memoryOf( text->size ) );
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
