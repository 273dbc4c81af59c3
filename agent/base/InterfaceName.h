#pragma once

#include <algorithm>
#include <array>
#include <net/if.h>
#include <string_view>

namespace Ufdd {

// The name of an interface, not an alternative one, kept in place: copying one allocates nothing.
class InterfaceName {
 public:
   // Of bytes, without the zero byte that ends them in the kernel.
   static constexpr std::size_t maxSize = IFNAMSIZ - 1;

   // Of an alternative name.
   static constexpr std::size_t maxAltSize = 127;

   // Why the kernel could never have an interface that can be called so, to follow "NAME is not the
   // name of an interface: "; empty when it could.
   static constexpr std::string_view objection( std::string_view name );

   constexpr InterfaceName() = default;
   // Cuts the name off at maxSize.
   constexpr explicit InterfaceName( std::string_view name ) {
      std::copy_n( name.begin(), std::min( name.size(), maxSize ), text_.begin() );
   }

   constexpr std::string_view view() const { return text_.data(); }
   bool operator==( InterfaceName const& ) const = default;
   constexpr bool empty() const { return text_[ 0 ] == '\0'; }

 private:
   std::array< char, IFNAMSIZ > text_{};
};

constexpr std::string_view
InterfaceName::objection( std::string_view name ) {
   if ( name.empty() )
      return "it is empty";
   if ( name.size() > maxAltSize )
      return "it is longer than 127 bytes";
   if ( name == "." || name == ".." )
      return "it is reserved";
   bool const bad = std::any_of( name.begin(), name.end(), []( char c ) {
      return c == '/' || c == ':' || c == ' ' || ( c >= '\t' && c <= '\r' ) || c == '\0';
   } );
   return bad ? "it has a slash, a colon or white space in it" : "";
}

} // namespace Ufdd
