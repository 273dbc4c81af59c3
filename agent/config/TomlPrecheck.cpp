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
   // The part of a line that the next character may belong to.
   enum class Part {
      key,
      value, // The begin of a value.
      word,  // A value that has begun, or has ended without a space behind it.
   };
   struct Bracket {
      std::size_t depthBefore;
      bool isOfKeys; // A table or a header, not a list.
   };

   // Reads a character, a comment or a string, up to its last character.
   void readNext() {
      switch ( char const c = text_[ at_ ] ) {
      case '#':
         at_ = std::min( text_.find( '\n', at_ ), text_.size() ) - 1;
         break;
      case '"':
      case '\'':
         refuseInWord();
         readString();
         endValue();
         break;
      case '[':
      case '{':
         refuseInWord();
         brackets_.push_back( { depth_, c == '{' || part_ == Part::key } );
         part_ = brackets_.back().isOfKeys ? Part::key : Part::value;
         deepen();
         break;
      case ']':
      case '}':
         part_ = Part::word;
         if ( !brackets_.empty() ) {
            depth_ = brackets_.back().depthBefore;
            brackets_.pop_back();
         }
         break;
      case '=':
         if ( part_ != Part::key )
            objectToWord();
         part_ = Part::value;
         break;
      case ',':
         depth_ = brackets_.empty() ? 0 : brackets_.back().depthBefore + 1;
         part_ = first();
         break;
      case '\n':
         if ( brackets_.empty() )
            depth_ = 0;
         if ( brackets_.empty() || part_ == Part::word )
            part_ = first();
         break;
      case ' ':
      case '\t':
      case '\r':
         if ( part_ == Part::word )
            part_ = Part::value;
         break;
      case '.':
         deepen();
         [[fallthrough]];
      default:
         endValue();
         if ( !isAscii( c ) )
            object( "only a text in quotes or a comment can have letters other than ASCII" );
      }
   }

   // Returns what a bracket, a comma or a line begins with.
   Part first() const {
      return brackets_.empty() || brackets_.back().isOfKeys ? Part::key : Part::value;
   }
   void endValue() { part_ = part_ == Part::key ? Part::key : Part::word; }
   // The library takes a quote within a word for no begin of a string.
   void refuseInWord() {
      if ( part_ == Part::word )
         objectToWord();
   }
   void objectToWord() {
      object( "a value can't go on with this; see whether a comma, a quote or a line break is "
              "missing" );
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
      if ( !objection_ )
         objection_ = TomlObjection{ placeAt( text_, at_ ), std::move( text ) };
   }

   std::string_view const text_;
   std::size_t at_ = 0;
   std::size_t depth_ = 0;
   Part part_ = Part::key;
   std::vector< Bracket > brackets_; // Those that are open.
   std::optional< TomlObjection > objection_;
};

} // namespace

std::optional< TomlObjection >
objectionToToml( std::string_view text ) {
   auto const isForbidden = []( char c ) {
      return ( isAscii( c ) && c < ' ' && c != '\t' && c != '\n' && c != '\r' ) || c == 0x7f;
   };
   if ( auto const at = std::ranges::find_if( text, isForbidden ); at != text.end() )
      return TomlObjection{ placeAt( text, static_cast< std::size_t >( at - text.begin() ) ),
                            "a configuration can't have control characters in it" };
   return Precheck( text ).run();
}

} // namespace Ufdd
