#include "agent/HoldingLine.h"

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
   std::string line;
   auto const append = [ &line ]( auto number, int base ) {
      std::array< char, 20 > digits{};
      auto const end =
          std::to_chars( digits.data(), digits.data() + digits.size(), number, base ).ptr;
      line.append( digits.data(), end );
   };
   line.append( holding.isOverridden ? overriddenWord : heldWord ).append( 1, ' ' );
   append( holding.index, 10 );
   line += ' ';
   for ( auto const& [ means, word ] : meansWords )
      if ( means == holding.means )
         line += word;
   if ( holding.means != Means::adminDown ) {
      line += ':';
      append( holding.reason, 10 );
   }
   line += ' ';
   append( holding.address, 16 );
   line.append( 1, ' ' ).append( holding.name.view() ).append( 1, '\n' );
   return line;
}

} // namespace Ufdd
