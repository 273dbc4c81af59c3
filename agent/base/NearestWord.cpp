#include "agent/base/NearestWord.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace Ufdd {

namespace {

// Returns how many letters have to be added, removed, replaced or swapped with the next one.
std::size_t
editDistance( std::string_view from, std::string_view to ) {
   // Entry j is the distance from the first i letters of `from` to the first j of `to`; `last` is
   // the row for i - 1, and `before` that for i - 2.
   std::vector< std::size_t > row( to.size() + 1 );
   std::vector< std::size_t > last( row );
   std::vector< std::size_t > before( row );
   std::iota( row.begin(), row.end(), 0 );
   for ( std::size_t i = 1; i <= from.size(); ++i ) {
      before.swap( last );
      last.swap( row );
      row[ 0 ] = i;
      for ( std::size_t j = 1; j <= to.size(); ++j ) {
         std::size_t const changed = last[ j - 1 ] + ( from[ i - 1 ] != to[ j - 1 ] );
         row[ j ] = std::min( { changed, last[ j ] + 1, row[ j - 1 ] + 1 } );
         if ( i > 1 && j > 1 && from[ i - 1 ] == to[ j - 2 ] && from[ i - 2 ] == to[ j - 1 ] )
            row[ j ] = std::min( row[ j ], before[ j - 2 ] + 1 );
      }
   }
   return row.back();
}

} // namespace

std::optional< std::string_view >
nearestWord( std::string_view typed, std::span< std::string_view const > words ) {
   std::optional< std::string_view > nearest;
   std::size_t least = ( typed.size() + 1 ) / 2;
   for ( std::string_view const word : words )
      if ( std::size_t const distance = editDistance( typed, word ); distance < least ) {
         least = distance;
         nearest = word;
      }
   return nearest;
}

} // namespace Ufdd
