#include "agent/control/ControlText.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// Returns the text of what was read from a text; empty if it was refused.
template < auto Read >
std::string
copyOf( std::string_view text ) {
   try {
      return Ufdd::textOf( Read( text ) );
   } catch ( Ufdd::ControlTextError const& ) {
      return "";
   }
}

} // namespace

// Tests the readers of requests and replies with any text: a text that was taken is written so that
// it is taken again, as the same.
extern "C" int
LLVMFuzzerTestOneInput( unsigned char const* data, std::size_t size ) {
   std::string_view const text( reinterpret_cast< char const* >( data ), size );
   for ( auto* const copy : { copyOf< Ufdd::requestOf >, copyOf< Ufdd::replyOf > } )
      if ( std::string const first = copy( text );
           !first.empty() && ( !Ufdd::isWhole( first ) || copy( first ) != first ) )
         std::abort();
   return 0;
}
