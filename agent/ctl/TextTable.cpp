#include "agent/ctl/TextTable.h"

#include <algorithm>

namespace Ufdd {

std::string
TextTable::text() const {
   std::vector< std::size_t > widths( rows_.front().size() );
   for ( auto const& row : rows_ )
      for ( std::size_t i = 0; i < row.size(); ++i )
         widths[ i ] = std::max( widths[ i ], row[ i ].size() );
   std::string text;
   for ( auto const& row : rows_ ) {
      text += indent_;
      for ( std::size_t i = 0; i < row.size(); ++i )
         // The last column is not filled up.
         text +=
             row[ i ] +
             ( i + 1 < row.size() ? std::string( widths[ i ] - row[ i ].size() + 2, ' ' ) : "\n" );
   }
   return text;
}

} // namespace Ufdd
