#include "agent/HoldingLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
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

std::string
meansOf( Holding const& holding ) {
   std::string text;
   for ( auto const& [ means, word ] : meansWords )
      if ( means == holding.means )
         text = word;
   if ( holding.means != Means::adminDown )
      text.append( 1, ':' ).append( std::to_string( holding.reason ) );
   return text;
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

std::string
lineOf( Holding const& holding ) {
   std::array< char, 80 > line{};
   int const size = std::snprintf(
       line.data(), line.size(), "%s %u %s %012llx %s\n",
       holding.isOverridden ? overriddenWord : heldWord, holding.index, meansOf( holding ).c_str(),
       static_cast< unsigned long long >( holding.address ), holding.name.view().data() );
   return { line.data(), static_cast< std::size_t >( size ) };
}

} // namespace Ufdd
