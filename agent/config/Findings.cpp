#include "agent/config/Findings.h"

#include <iterator>

namespace Ufdd {

namespace {

// In bytes. A text quotes names from the file, which may be as long as the file.
constexpr std::size_t maxText = 2000;

} // namespace

void
Findings::List::add( Place place, std::string text ) {
   ++count;
   if ( text.size() > maxText )
      text.replace( maxText, std::string::npos, "..." );
   first.emplace( place, std::move( text ) );
   if ( first.size() > maxListed )
      first.erase( std::prev( first.end() ) );
}

std::vector< std::string >
Findings::lines( List const& list, std::string_view what ) const {
   std::vector< std::string > lines;
   lines.reserve( list.first.size() + 1 );
   for ( auto const& [ place, text ] : list.first )
      lines.push_back( file_ + ':' + std::to_string( place.line ) + ':' +
                       std::to_string( place.column ) + ": " + text );
   if ( list.count > list.first.size() )
      lines.push_back( file_ + ": ... and " + std::to_string( list.count - list.first.size() ) +
                       " more " + std::string( what ) );
   return lines;
}

} // namespace Ufdd
