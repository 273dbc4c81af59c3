#include "agent/ports/OwnedLinkLine.h"

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
constexpr char const* heldWord = "held";
constexpr char const* overriddenWord = "overridden";
// In bytes: more than two words, three numbers and a name take.
constexpr std::size_t maxLine = 128;

// Reads "protodown:5" and the like. Returns false for other text.
bool
readMeans( std::string const& text, OwnedLink& owned ) {
   std::size_t const colon = text.find( ':' );
   std::string const word = text.substr( 0, colon );
   auto const* const known = std::find_if( meansWords.begin(), meansWords.end(),
                                           [ & ]( auto const& m ) { return m.second == word; } );
   if ( known == meansWords.end() )
      return false;
   owned.means = known->first;
   owned.reason = 0;
   if ( owned.means == Means::adminDown )
      return colon == std::string::npos;
   if ( colon == std::string::npos )
      return false;
   char const* const end = text.data() + text.size();
   auto const [ rest, error ] = std::from_chars( text.data() + colon + 1, end, owned.reason );
   return error == std::errc() && rest == end && owned.reason <= Link::maxReason;
}

} // namespace

std::optional< OwnedLink >
readOwnedLink( std::string const& line ) {
   OwnedLink owned;
   std::istringstream in( line );
   std::string word;
   std::string means;
   std::string name;
   in >> word >> owned.index >> means >> std::hex >> owned.address >> name;
   owned.name = InterfaceName( name );
   owned.isOverridden = word == overriddenWord;
   if ( !in || ( word != heldWord && !owned.isOverridden ) || owned.index == 0 ||
        !InterfaceName::objection( name ).empty() || !readMeans( means, owned ) )
      return std::nullopt;
   return owned;
}

// Ports wait while this runs. It uses no streams and formats, since their code is in no cache then.
std::string
lineOf( OwnedLink const& owned ) {
   std::array< char, maxLine > line{};
   char* end = line.data();
   auto const put = [ & ]( std::string_view text ) {
      for ( char const c : text )
         *end++ = c;
   };
   auto const putNumber = [ & ]( std::uint64_t number, int base ) {
      end = std::to_chars( end, line.data() + line.size(), number, base ).ptr;
   };
   put( owned.isOverridden ? overriddenWord : heldWord );
   put( " " );
   putNumber( owned.index, 10 );
   put( " " );
   for ( auto const& [ means, word ] : meansWords )
      if ( means == owned.means )
         put( word );
   if ( owned.means != Means::adminDown ) {
      put( ":" );
      putNumber( owned.reason, 10 );
   }
   put( " " );
   putNumber( owned.address, 16 );
   put( " " );
   put( owned.name.view() );
   put( "\n" );
   return { line.data(), end };
}

} // namespace Ufdd
