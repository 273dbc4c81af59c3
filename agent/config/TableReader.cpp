#include "agent/config/TableReader.h"

#include <cctype>

namespace Ufdd {

std::string
keyOf( std::string_view attribute ) {
   std::string key;
   for ( char const c : attribute ) {
      if ( std::isupper( static_cast< unsigned char >( c ) ) )
         key += '_';
      key += static_cast< char >( std::tolower( static_cast< unsigned char >( c ) ) );
   }
   return key;
}

} // namespace Ufdd
