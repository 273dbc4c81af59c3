#include "agent/base/NearestWord.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

std::size_t
editDistance( std::string_view from, std::string_view to ) {
   // Entry j is the distance from the first i letters of `from` to the first j of `to`.
   std::vector< std::size_t > row( to.size() + 1 );
   std::iota( row.begin(), row.end(), 0 );
   for ( std::size_t i = 1; i <= from.size(); ++i ) {
      std::size_t diagonal = std::exchange( row[ 0 ], i );
      for ( std::size_t j = 1; j <= to.size(); ++j ) {
         std::size_t const changed = diagonal + ( from[ i - 1 ] != to[ j - 1 ] );
         diagonal =
             std::exchange( row[ j ], std::min( { changed, row[ j ] + 1, row[ j - 1 ] + 1 } ) );
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
