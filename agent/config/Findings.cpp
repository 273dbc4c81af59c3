#include "agent/config/Findings.h"

#include <algorithm>

namespace Ufdd {

std::vector< std::string >
Findings::lines( std::vector< Finding > findings ) const {
   std::stable_sort(
       findings.begin(), findings.end(),
       []( Finding const& left, Finding const& right ) { return left.place < right.place; } );
   std::vector< std::string > lines;
   lines.reserve( findings.size() );
   for ( auto const& [ place, text ] : findings )
      lines.push_back( file_ + ':' + std::to_string( place.line ) + ':' +
                       std::to_string( place.column ) + ": " + text );
   // A text may quote line breaks from the file.
   for ( std::string& line : lines )
      std::replace_if( line.begin(), line.end(), isControl, '?' );
   return lines;
}

} // namespace Ufdd
