#include "agent/orders/OrderLine.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace Ufdd {

namespace {

constexpr std::string_view nothing = "-";
constexpr std::string_view neverWord = "never";

// Writes the text so that it has no line break and, as a word, no space.
std::string
escaped( std::string_view text, bool isWord ) {
   if ( text.empty() )
      return std::string( nothing );
   std::string result;
   for ( char const c : text ) {
      auto const byte = static_cast< unsigned char >( c );
      bool const isPlain = byte > ' ' && byte != 0x7f && c != '%';
      // A lone "-" stands for an empty text.
      if ( ( isPlain && text != nothing ) || ( c == ' ' && !isWord ) ) {
         result += c;
      } else {
         char code[ 4 ];
         std::snprintf( code, sizeof code, "%%%02x", byte );
         result += code;
      }
   }
   return result;
}

std::optional< std::string >
unescaped( std::string_view text ) {
   if ( text == nothing )
      return "";
   std::string result;
   for ( std::size_t at = 0; at < text.size(); ++at ) {
      if ( text[ at ] != '%' ) {
         result += text[ at ];
         continue;
      }
      unsigned int byte = 0;
      if ( at + 2 >= text.size() )
         return std::nullopt;
      char const* const end = text.data() + at + 3;
      if ( std::from_chars( text.data() + at + 1, end, byte, 16 ).ptr != end )
         return std::nullopt;
      result += static_cast< char >( byte );
      at += 2;
   }
   return result;
}

std::string
timeText( double time ) {
   char digits[ 32 ];
   std::snprintf( digits, sizeof digits, "%.3f", time );
   return time == never ? std::string( neverWord ) : digits;
}

void
append( std::string& lines, std::string_view target, std::string_view name, Order const& order ) {
   lines += order.kind == OrderKind::disable ? "disable " : "down ";
   lines.append( target ).append( 1, ' ' ).append( escaped( name, true ) );
   lines += " uid " + std::to_string( order.uid ) + " since " + timeText( order.since ) +
            " until " + timeText( order.until ) + ( order.isForced ? " forced" : "" ) + " reason " +
            escaped( order.reason, false ) + '\n';
}

// Takes the words of a line one by one. Fails for good at the first one that is not as expected.
class Words {
 public:
   explicit Words( std::string_view line ) : rest_( line ) {}

   std::string_view take() {
      std::size_t const size = std::min( rest_.find( ' ' ), rest_.size() );
      std::string_view const word = rest_.substr( 0, size );
      rest_.remove_prefix( std::min( size + 1, rest_.size() ) );
      isGood_ &= !word.empty();
      return word;
   }
   void expect( std::string_view word ) { isGood_ &= take() == word; }
   std::string name() { return text( take() ); }
   unsigned int number() {
      std::string_view const word = take();
      unsigned int value = 0;
      char const* const end = word.data() + word.size();
      isGood_ &= std::from_chars( word.data(), end, value ).ptr == end && !word.empty();
      return value;
   }
   double time() {
      std::string const word( take() );
      if ( word == neverWord )
         return never;
      char* end = nullptr;
      double const value = std::strtod( word.c_str(), &end );
      isGood_ &= !word.empty() && *end == '\0' && std::isfinite( value ) && value >= 0;
      return value;
   }
   std::string remaining() { return text( std::exchange( rest_, {} ) ); }
   bool isGood() const { return isGood_ && rest_.empty(); }

 private:
   std::string text( std::string_view word ) {
      auto value = unescaped( word );
      isGood_ &= value.has_value();
      return std::move( value ).value_or( "" );
   }

   std::string_view rest_;
   bool isGood_ = true;
};

} // namespace

std::string
orderLines( OrderBook const& book ) {
   std::string lines;
   for ( auto const& [ name, order ] : book.groups )
      append( lines, "group", name, order );
   for ( auto const& [ name, order ] : book.ports )
      append( lines, "port", name, order );
   for ( auto const& [ group, port ] : book.latches )
      lines += "latched " + escaped( group, true ) + ' ' + escaped( port, true ) + '\n';
   return lines;
}

bool
readOrderLine( std::string_view line, OrderBook& book ) {
   Words words( line );
   std::string_view const verb = words.take();
   if ( verb == "latched" ) {
      std::string group = words.name();
      std::string port = words.name();
      if ( words.isGood() )
         book.latches.emplace( std::move( group ), std::move( port ) );
      return words.isGood();
   }
   Order order{ .kind = verb == "disable" ? OrderKind::disable : OrderKind::down };
   std::string_view const target = words.take();
   std::string const name = words.name();
   words.expect( "uid" );
   order.uid = words.number();
   words.expect( "since" );
   order.since = words.time();
   words.expect( "until" );
   order.until = words.time();
   std::string_view next = words.take();
   order.isForced = next == "forced";
   if ( order.isForced )
      next = words.take();
   order.reason = words.remaining();
   bool const isPort = target == "port";
   if ( !words.isGood() || next != "reason" || ( verb != "disable" && verb != "down" ) ||
        ( target != "group" && ( !isPort || verb != "down" ) ) )
      return false;
   ( isPort ? book.ports : book.groups ).insert_or_assign( name, std::move( order ) );
   return true;
}

} // namespace Ufdd
