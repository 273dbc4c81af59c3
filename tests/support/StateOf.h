#pragma once

#include "adapters/attrlog/SerializedRows.h"
#include "adapters/notify/Enumeration.h"

#include <limits>
#include <ostream>
#include <sstream>
#include <string>

namespace Tests {

template < class T > std::string stateOf( T const& entity );

namespace Detail {

template < class V >
auto
textOf( V const& value ) {
   if constexpr ( Notify::Enumeration< V > )
      return Notify::textOf( value );
   else
      return value;
}

template < class T, class R >
void
writeAttribute( std::ostream& text, T const& entity ) {
   if constexpr ( AttrLog::EntitiesRow< R > ) {
      ( entity.*R::members )().forEach(
          [ & ]( auto const& member ) { text << member.zetKey() << stateOf( member ) << '\n'; } );
   } else if constexpr ( AttrLog::ValuesRow< R > ) {
      text << " {";
      ( entity.*R::members )().forEach( [ & ]( auto const& member ) {
         text << ' ' << member.zetKey() << '=' << member.value();
      } );
      text << " }";
   } else {
      text << ' ' << textOf( ( entity.*R::get )() );
   }
}

} // namespace Detail

// Every attribute of the entity that its log replicates, in the order of its rows: " 2 { et1=1 }",
// and a line "NAME STATE" for each member entity. A replica that is in step reads the same.
template < class T >
std::string
stateOf( T const& entity ) {
   std::ostringstream text;
   text.precision( std::numeric_limits< double >::max_digits10 );
   // The first is the framework's, which not every replica takes over.
   AttrLog::forEachSerialized< T >( [ & ]( auto place ) {
      if constexpr ( place != 0 )
         Detail::writeAttribute< T, AttrLog::SerializedRow< T, place > >( text, entity );
   } );
   return text.str();
}

} // namespace Tests
