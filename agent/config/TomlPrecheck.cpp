#include "agent/config/TomlPrecheck.h"

#include <algorithm>
#include <vector>

namespace Ufdd {

namespace {

constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

bool
isAscii( char c ) {
   return static_cast< unsigned char >( c ) < 0x80;
}

Place
placeAt( std::string_view text, std::size_t at ) {
   std::string_view const before = text.substr( 0, at );
   auto const line = static_cast< std::uint32_t >( std::ranges::count( before, '\n' ) );
   // npos + 1 is 0: the first line.
   std::string_view const rest = before.substr( before.rfind( '\n' ) + 1 );
   // Bytes that continue a character of UTF-8 are no column of their own.
   auto const columns = static_cast< std::uint32_t >(
       std::ranges::count_if( rest, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
   return { line + 1, columns + 1 };
}

class Precheck {
 public:
   explicit Precheck( std::string_view text ) : text_( text ) {}

   std::optional< TomlObjection > run() {
      for ( at_ = text_.starts_with( byteOrderMark ) ? byteOrderMark.size() : 0;
            at_ < text_.size() && !objection_; ++at_ )
         readNext();
      return objection_;
   }

 private:
   // Reads a character, a comment or a string, up to its last character.
   void readNext() {
      switch ( text_[ at_ ] ) {
      case '#':
         at_ = std::min( text_.find( '\n', at_ ), text_.size() ) - 1;
         break;
      case '"':
      case '\'':
         readString();
         break;
      case '[':
      case '{':
         outside_.push_back( depth_ );
         deepen();
         break;
      case '.':
         deepen();
         break;
      case ']':
      case '}':
         if ( !outside_.empty() ) {
            depth_ = outside_.back();
            outside_.pop_back();
         }
         break;
      case ',':
         depth_ = outside_.empty() ? 0 : outside_.back() + 1;
         break;
      case '\n':
         if ( outside_.empty() )
            depth_ = 0;
         break;
      default:
         if ( !isAscii( text_[ at_ ] ) )
            object( "only a text in quotes or a comment can have letters other than ASCII" );
      }
   }

   void readString() {
      std::size_t const begin = at_;
      char const quote = text_[ at_ ];
      std::string_view const three = quote == '"' ? R"(""")" : "'''";
      bool const isLong = text_.substr( at_ ).starts_with( three );
      bool hasEscape = false;
      for ( at_ += isLong ? 3 : 1; at_ < text_.size(); ++at_ ) {
         char const c = text_[ at_ ];
         // Without an end, the string goes to the end of its line.
         if ( !isLong && ( c == quote || c == '\n' ) ) {
            at_ -= c == '\n';
            return;
         }
         if ( isLong && text_.substr( at_ ).starts_with( three ) ) {
            // Three quotes end the string, the last ones of up to five.
            auto const rest = text_.substr( at_, 5 );
            at_ += std::min( rest.find_first_not_of( quote ), rest.size() ) - 1;
            return;
         }
         if ( isLong && hasEscape && !isAscii( c ) )
            return object( "behind a backslash, a text of several lines can't have letters other "
                           "than ASCII; write it on one line" );
         if ( quote == '"' && c == '\\' ) {
            hasEscape = true;
            at_ += at_ + 1 < text_.size() && isAscii( text_[ at_ + 1 ] );
         }
      }
      at_ = std::max( begin, text_.size() - 1 );
   }

   // A value's own dot counts as well, so that no grammar is needed here.
   void deepen() {
      if ( ++depth_ > maxTomlDepth )
         object( "more than " + std::to_string( maxTomlDepth ) +
                 " brackets, braces and dots enclose this; see whether one was left open above" );
   }

   void object( std::string text ) {
      objection_ = TomlObjection{ placeAt( text_, at_ ), std::move( text ) };
   }

   std::string_view const text_;
   std::size_t at_ = 0;
   std::size_t depth_ = 0;
   std::vector< std::size_t > outside_; // For each open bracket, the depth before it.
   std::optional< TomlObjection > objection_;
};

} // namespace

std::optional< TomlObjection >
objectionToToml( std::string_view text ) {
   return Precheck( text ).run();
}

} // namespace Ufdd
