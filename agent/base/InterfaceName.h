#pragma once

#include <algorithm>
#include <array>
#include <net/if.h>
#include <string_view>

namespace Ufdd {

// The main name of an interface, never an alternative one. Stored in place, so that copying
// allocates nothing.
class InterfaceName {
 public:
   // In bytes, without the final zero byte.
   static constexpr std::size_t maxSize = IFNAMSIZ - 1;
   // In bytes, of an alternative name.
   static constexpr std::size_t maxAltSize = 127;

   // Returns why the kernel accepts no interface of that name, for a message that begins "NAME is
   // not the name of an interface: ". Empty if the kernel accepts the name.
   static constexpr std::string_view objection( std::string_view name );

   constexpr InterfaceName() = default;
   // Cuts off the bytes beyond maxSize.
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
