#include "agent/config/ConfigFile.h"
#include "agent/config/TomlPrecheck.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

std::size_t
depthOf( toml::node const& node ) {
   std::size_t deepest = 0;
   auto const look = [ & ]( toml::node const& inner ) {
      deepest = std::max( deepest, depthOf( inner ) + 1 );
   };
   if ( auto const* const table = node.as_table() )
      for ( auto&& [ key, value ] : *table )
         look( value );
   else if ( auto const* const array = node.as_array() )
      for ( toml::node const& element : *array )
         look( element );
   return deepest;
}

} // namespace

// Tests the reader of the configuration with any text: whatever it lets the TOML library parse is
// not deep, and few findings are listed.
extern "C" int
LLVMFuzzerTestOneInput( unsigned char const* data, std::size_t size ) {
   std::string_view const text( reinterpret_cast< char const* >( data ), size );
   Ufdd::SystemView system;
   system.interfaces = { { "bond0", { "bond0", "p1" } }, { "alias", { "p1" } } };
   system.runsOn = { { "v3", { "p1" } } };
   system.links = { { .index = 1, .name = Ufdd::InterfaceName( "p1" ) } };
   system.defaultRoutes.resize( 1 );
   system.defaultRoutes[ 0 ].isInMain = system.defaultRoutes[ 0 ].isUnicast = true;
   system.defaultRoutes[ 0 ].hops = { { .link = 1 } };
   Ufdd::ConfigFile const config = Ufdd::parseConfig( text, "f", &system );
   bool const isShort = config.errors.size() <= 101 && config.warnings.size() <= 101;
   bool isFlat = true;
   if ( !Ufdd::objectionToToml( text ) )
      try {
         isFlat = depthOf( toml::parse( text ) ) <= 2 * Ufdd::maxTomlDepth + 1;
      } catch ( toml::parse_error const& ) {
         // Reported by the reader.
      }
   if ( !isShort || !isFlat )
      std::abort();
   return 0;
}
