#pragma once

#include "adapters/notify/Description.h"
#include "platform/zet/Exception.h"
#include "platform/zet/Strep.h"
#include "platform/zet/generic/TypeOf.h"

#include <cstdint>
#include <string>

namespace Notify {

// An enumeration that states its texts in its Description. It is a value type by that: attribute
// logs carry it, and generic interfaces read and set it, as its text or its number.
//
//    template <> struct Notify::Description< Colour > {
//       static constexpr std::string_view nameSpace = "Paint";
//       static constexpr std::string_view name = "Colour";
//       // The text of each enumerator, by its number.
//       static constexpr std::array< char const*, 2 > enumerators{ "red", "blue" };
//    };
//
// A record from elsewhere may carry another number. The text of such a value is "Colour(7)".
template < class E >
concept Enumeration = std::is_enum_v< E > && requires {
   Description< E >::enumerators;
};

template < Enumeration E >
constexpr bool
isEnumerator( std::int64_t number ) {
   return number >= 0 &&
          number < static_cast< std::int64_t >( Description< E >::enumerators.size() );
}

template < Enumeration E >
Zet::String8
textOf( E value ) {
   auto const number = static_cast< std::uint32_t >( value );
   if ( isEnumerator< E >( number ) )
      return Description< E >::enumerators[ number ];
   return std::string( Description< E >::name ) + "(" +
          std::to_string( static_cast< std::int32_t >( number ) ) + ")";
}

// Return the enumerator of that text or number.
// Throws: Zet::RangeException, the enumeration's name, for anything else.
template < Enumeration E >
E
enumerator( Zet::String8 const& text ) {
   constexpr auto const& texts = Description< E >::enumerators;
   for ( std::uint32_t number = 0; number < texts.size(); ++number )
      if ( text == texts[ number ] )
         return static_cast< E >( number );
   Zet::throwRangeException( Description< E >::name );
}
template < Enumeration E >
E
enumerator( unsigned int number ) {
   if ( !isEnumerator< E >( number ) )
      Zet::throwRangeException( Description< E >::name );
   return static_cast< E >( number );
}

} // namespace Notify

template < Notify::Enumeration E > struct Zet::TypeOf< E > {
   static Ptr< ZetType const > type() {
      static ZetType const& type =
          ZetType::ZetTypeIs( Notify::nameSpaceOf< E >(), Notify::Description< E >::name, nullptr );
      return &type;
   }
};

template < Notify::Enumeration E > struct Zet::StrepOf< E > {
   static String8 text( E value ) { return valueToStrep( Notify::textOf( value ) ); }
   static E value( String8::IteratorConst& at, String8::IteratorConst const& end ) {
      return Notify::enumerator< E >(
          sequenceToValue( at, end, static_cast< String8 const* >( nullptr ) ) );
   }
};
