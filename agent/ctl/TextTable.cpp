#include "agent/ctl/TextTable.h"

#include <algorithm>

namespace Ufdd {

std::size_t
TextTable::width( std::string_view text ) {
   // Bytes that continue a UTF-8 character take no column of their own.
   return static_cast< std::size_t >(
       std::ranges::count_if( text, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
}

std::string
TextTable::coloured( std::string_view text, std::string_view colour ) {
   return colour.empty() ? std::string( text )
                         : std::string( colour ).append( text ).append( "\x1b[0m" );
}

std::string
TextTable::text() const {
   std::vector< std::size_t > widths( rows_.front().size() );
   for ( auto const& row : rows_ )
      for ( std::size_t i = 0; i < row.size(); ++i )
         widths[ i ] = std::max( widths[ i ], width( row[ i ].text ) );
   std::string text;
   for ( auto const& row : rows_ ) {
      text += indent_;
      for ( std::size_t i = 0; i < row.size(); ++i ) {
         text += coloured( row[ i ].text, row[ i ].colour );
         // The last column is not padded.
         text += i + 1 < row.size() ? std::string( widths[ i ] - width( row[ i ].text ) + 2, ' ' )
                                    : "\n";
      }
   }
   return text;
}

} // namespace Ufdd
