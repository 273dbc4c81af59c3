#include "agent/ports/UnreadRecords.h"

#include "agent/ports/OpeningCommand.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace Ufdd {

namespace {

using Words = std::vector< std::string >;

// Returns the words of the first line in which `name` is a word; none if there is no such line.
Words
lineWith( std::string const& text, std::string_view name ) {
   std::istringstream lines( text );
   for ( std::string line; std::getline( lines, line ); ) {
      std::istringstream in( line );
      Words words{ std::istream_iterator< std::string >( in ), {} };
      if ( std::find( words.begin(), words.end(), name ) != words.end() )
         return words;
   }
   return {};
}

// Returns our bit among the reasons for protodown: the number in a word like "protodown:5".
unsigned int
reasonIn( Words const& line ) {
   unsigned int reason = Link::usualReason;
   for ( std::string const& word : line )
      if ( std::size_t const colon = word.find( ':' ); colon != std::string::npos )
         std::from_chars( word.data() + colon + 1, word.data() + word.size(), reason );
   return reason;
}

} // namespace

void
UnreadRecords::add( std::vector< UnreadRecord > records ) {
   for ( UnreadRecord& record : records ) {
      if ( record.isNew )
         log_.event( { .id = LogEvent::trouble },
                     "the record of the ports that ufdd has shut " + record.problem +
                         "; it is kept as " + record.place +
                         ", and shut ports that it names are left as they are" );
      hasFound_ |= record.isNew;
      records_.push_back( std::move( record ) );
   }
}

void
UnreadRecords::examine( Link const& link ) {
   for ( auto const& [ place, problem, text, isNew ] : records_ ) {
      Words const line = lineWith( text, link.name.view() );
      unsigned int const reason = reasonIn( line );
      if ( line.empty() || ( link.adminUp && !link.hasProtoDownReason( reason ) ) )
         continue;
      auto const means =
          link.adminUp ? LinkRequest::Means::protoDown : LinkRequest::Means::adminDown;
      log_.event(
          { .id = LogEvent::portFailure, .port = link.name.view() },
          "port " + std::string( link.name.view() ) + " is shut, perhaps by ufdd, since " + place +
              " names it; open it with: " + openingCommand( link.name.view(), means, reason ) );
      named_.push_back( place );
      return;
   }
}

void
UnreadRecords::end() {
   hasFound_ |= !named_.empty();
   std::sort( named_.begin(), named_.end() );
   named_.erase( std::unique( named_.begin(), named_.end() ), named_.end() );
   for ( std::string const& place : named_ )
      log_.line( "once the ports above are as they should be, remove " + place );
   named_.clear();
   records_.clear();
}

} // namespace Ufdd
