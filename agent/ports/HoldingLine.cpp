#include "agent/ports/HoldingLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;

constexpr std::array< std::pair< Means, std::string_view >, 3 > meansWords{
   { { Means::adminDown, "down" },
     { Means::protoDown, "protodown" },
     { Means::onlyReason, "reason" } }
};
constexpr unsigned int maxReason = 31;
constexpr char const* heldWord = "held";
constexpr char const* overriddenWord = "overridden";
// More than the words, three numbers and a name take.
constexpr std::size_t maxLine = 128;

// "protodown:5"
bool
readMeans( std::string const& text, Holding& holding ) {
   std::size_t const colon = text.find( ':' );
   std::string const word = text.substr( 0, colon );
   auto const* const known = std::find_if( meansWords.begin(), meansWords.end(),
                                           [ & ]( auto const& m ) { return m.second == word; } );
   if ( known == meansWords.end() )
      return false;
   holding.means = known->first;
   holding.reason = 0;
   if ( holding.means == Means::adminDown )
      return colon == std::string::npos;
   if ( colon == std::string::npos )
      return false;
   char const* const end = text.data() + text.size();
   auto const [ rest, error ] = std::from_chars( text.data() + colon + 1, end, holding.reason );
   return error == std::errc() && rest == end && holding.reason <= maxReason;
}

} // namespace

std::optional< Holding >
readHolding( std::string const& line ) {
   Holding holding;
   std::istringstream in( line );
   std::string word;
   std::string means;
   std::string name;
   in >> word >> holding.index >> means >> std::hex >> holding.address >> name;
   holding.name = InterfaceName( name );
   holding.isOverridden = word == overriddenWord;
   if ( !in || ( word != heldWord && !holding.isOverridden ) || holding.index == 0 ||
        !InterfaceName::objection( name ).empty() || !readMeans( means, holding ) )
      return std::nullopt;
   return holding;
}

// Ports wait for it to be written: no streams and formats, whose code is cold then.
std::string
lineOf( Holding const& holding ) {
   std::array< char, maxLine > line{};
   char* end = line.data();
   auto const put = [ & ]( std::string_view text ) {
      for ( char const c : text )
         *end++ = c;
   };
   auto const putNumber = [ & ]( std::uint64_t number, int base ) {
      end = std::to_chars( end, line.data() + line.size(), number, base ).ptr;
   };
   put( holding.isOverridden ? overriddenWord : heldWord );
   put( " " );
   putNumber( holding.index, 10 );
   put( " " );
   for ( auto const& [ means, word ] : meansWords )
      if ( means == holding.means )
         put( word );
   if ( holding.means != Means::adminDown ) {
      put( ":" );
      putNumber( holding.reason, 10 );
   }
   put( " " );
   putNumber( holding.address, 16 );
   put( " " );
   put( holding.name.view() );
   put( "\n" );
   return { line.data(), end };
}

} // namespace Ufdd
