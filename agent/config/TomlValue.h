#pragma once

#include "agent/config/Findings.h"
#include "platform/zet/Strep.h"
#include "platform/zet/generic/TypeOf.h"
#include "platform/zet/types/ZetAttr.h"

#include <toml++/toml.h>

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace Ufdd {

Place placeOf( toml::node const& node );
// Returns the type of a node for findings, to follow "not": "a text", "a list".
std::string_view typeOf( toml::node const& node );
// Returns a number or a text as it was read, else the type: "-1", "\"sideways\"", "a list".
std::string found( toml::node const& node );
// Returns the error about a value that can't be used: "expected KEY to be EXPECTATION, not FOUND".
std::string mismatch( std::string_view key, std::string_view expectation, toml::node const& node );

// Reads values of type V. expectation() says what to write, to follow "expected ... to be". read()
// returns nothing for a node of another type or value.
template < class V > struct TomlValue {
   static_assert( !sizeof( V* ), "a configured attribute of this type needs its TomlValue here" );
};

template <> struct TomlValue< bool > {
   static std::string expectation() { return "true or false"; }
   static std::optional< bool > read( toml::node const& node ) {
      return node.value_exact< bool >();
   }
};

template <> struct TomlValue< unsigned int > {
   using Limits = std::numeric_limits< unsigned int >;
   static std::string expectation( unsigned int min = 0, unsigned int max = Limits::max() ) {
      return "a whole number from " + std::to_string( min ) + " to " + std::to_string( max );
   }
   static std::optional< unsigned int > read( toml::node const& node, unsigned int min = 0,
                                              unsigned int max = Limits::max() );
};

template <> struct TomlValue< double > {
   static std::string expectation() { return "a number"; }
   static std::optional< double > read( toml::node const& node );
};

template <> struct TomlValue< Zet::String8 > {
   static std::string expectation() { return "a text in quotes"; }
   static std::optional< Zet::String8 > read( toml::node const& node ) {
      auto const text = node.value_exact< std::string_view >();
      return text ? std::optional< Zet::String8 >( *text ) : std::nullopt;
   }
};

template < class V >
requires std::is_enum_v< V >
struct TomlValue< V > {
   static std::string expectation() {
      std::string names;
      for ( auto const& enumerator : Zet::TypeOf< V >::type()->attributes() )
         names += ( names.empty() ? "" : ", " ) + inQuotes( enumerator->name().view() );
      return "one of " + names;
   }
   static std::optional< V > read( toml::node const& node ) try {
      auto const text = TomlValue< Zet::String8 >::read( node );
      return text ? std::optional< V >( Zet::strepToValue< V >( *text ) ) : std::nullopt;
   } catch ( Zet::RangeException const& ) {
      return std::nullopt;
   }
};

} // namespace Ufdd
