#include "agent/control/ControlText.h"

#include "agent/base/NearestWord.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <utility>
#include <vector>

namespace Ufdd {

namespace {

using Verb = ControlRequest::Verb;
using Kind = ControlReply::Kind;

constexpr std::string_view requestTitle = "ufdd-request 1";
constexpr std::string_view replyTitle = "ufdd-reply 1";
constexpr std::string_view endLine = "end\n";

[[noreturn]] void
fail( std::string const& what ) {
   throw ControlTextError( what );
}

std::string
excerpt( std::string_view text ) {
   constexpr std::size_t shown = 40;
   return '"' + std::string( text.substr( 0, shown ) ) + ( text.size() > shown ? "..." : "" ) + '"';
}

// Returns the entry with that word.
template < class Table >
auto const&
entryOf( Table const& table, std::string_view word, char const* kind ) {
   auto const at = std::ranges::find( table, word, &Table::value_type::word );
   if ( at != table.end() )
      return *at;
   std::vector< std::string_view > words;
   words.reserve( table.size() );
   for ( auto const& entry : table )
      words.push_back( entry.word );
   auto const nearest = nearestWord( word, words );
   fail( std::string( "unknown " ) + kind + ' ' + excerpt( word ) +
         ( nearest ? "; did you mean " + std::string( *nearest ) + '?' : "" ) );
}

// Appends "KEY VALUE\n", or "KEY\n" without a value.
void
appendLine( std::string& text, std::string_view key, std::string_view value ) {
   text.append( key ).append( value.empty() ? "" : " " ).append( value ) += '\n';
}

// Takes the lines of a text one by one.
class Lines {
 public:
   // Checks the title, and that there is an end with nothing behind it.
   Lines( std::string_view text, std::string_view title, std::size_t limit ) : rest_( text ) {
      if ( text.size() > limit )
         fail( "it has more than " + std::to_string( limit ) + " bytes" );
      if ( text.find( '\0' ) != text.npos )
         fail( "it has a zero byte in it" );
      if ( !isWhole( text ) )
         fail( "it is cut short: it has no line \"end\"" );
      if ( auto const [ key, value ] = take(); joined( key, value ) != title )
         fail( "it begins with " + excerpt( joined( key, value ) ) + " and not with " +
               excerpt( title ) + "; use ufdd and ufdctl of the same version" );
   }

   // Returns the key and the value of the next line.
   std::pair< std::string_view, std::string_view > take() {
      std::string_view const line = rest_.substr( 0, rest_.find( '\n' ) );
      rest_.remove_prefix( std::min( line.size() + 1, rest_.size() ) );
      std::size_t const space = line.find( ' ' );
      return { line.substr( 0, space ),
               space == line.npos ? std::string_view() : line.substr( space + 1 ) };
   }
   // Calls handle( key, value ) for each line up to the end.
   template < class Handle > void forEach( Handle handle ) {
      while ( rest_ != endLine ) {
         if ( rest_.starts_with( endLine ) )
            fail( "something follows its end" );
         auto const [ key, value ] = take();
         handle( key, value );
      }
   }

 private:
   static std::string joined( std::string_view key, std::string_view value ) {
      return std::string( key ) + ( value.empty() ? "" : " " ) + std::string( value );
   }

   std::string_view rest_;
};

struct VerbEntry {
   std::string_view word;
   Verb verb;
};
constexpr std::array< VerbEntry, 7 > verbs{ {
    { "disable", Verb::disable },
    { "down", Verb::down },
    { "auto", Verb::automatic },
    { "clear", Verb::clear },
    { "reload", Verb::reload },
    { "confirm", Verb::confirm },
    { "report", Verb::report },
} };

using Word = ControlRequest::Report::Word;
struct WordEntry {
   std::string_view word;
   Word result;
};
constexpr std::array< WordEntry, 3 > results{ {
    { "up", Word::up },
    { "down", Word::down },
    { "unknown", Word::unknown },
} };

constexpr unsigned int
bit( Verb verb ) {
   return 1u << static_cast< unsigned int >( verb );
}
constexpr unsigned int targeted =
    bit( Verb::disable ) | bit( Verb::down ) | bit( Verb::automatic ) | bit( Verb::clear );
constexpr unsigned int lasting = bit( Verb::disable ) | bit( Verb::down );

double
secondsIn( std::string_view value ) {
   double seconds = 0;
   auto const [ end, error ] = std::from_chars( value.data(), value.data() + value.size(), seconds,
                                                std::chars_format::fixed );
   if ( error != std::errc() || end != value.data() + value.size() || !( seconds >= 0.001 ) ||
        seconds > controlTimeLimit )
      fail( excerpt( value ) + " is no number of seconds above 0, and at most " +
            std::to_string( static_cast< long >( controlTimeLimit ) ) );
   return seconds;
}

std::string
textOfSeconds( double seconds ) {
   std::array< char, 32 > digits;
   int const size = std::snprintf( digits.data(), digits.size(), "%.3f", seconds );
   return { digits.data(), static_cast< std::size_t >( size ) };
}

using Values = std::vector< std::string >;

// One key of a request: the verbs that take it, and both directions of its values. Each value is a
// line.
struct Key {
   std::string_view word;
   unsigned int verbs;
   bool isRepeated;
   void ( *read )( ControlRequest&, std::string_view value );
   Values ( *values )( ControlRequest const& );
};

template < auto Member >
void
readSeconds( ControlRequest& request, std::string_view value ) {
   request.*Member = secondsIn( value );
}
template < auto Member >
Values
secondsOf( ControlRequest const& request ) {
   return request.*Member ? Values{ textOfSeconds( *( request.*Member ) ) } : Values();
}
template < auto Member >
void
readFlag( ControlRequest& request, std::string_view value ) {
   if ( !value.empty() )
      fail( excerpt( value ) + " follows a key that has no value" );
   request.*Member = true;
}
template < auto Member >
Values
flagOf( ControlRequest const& request ) {
   return request.*Member ? Values{ "" } : Values();
}

void
readTarget( ControlRequest& request, std::string_view value ) {
   if ( value.empty() )
      fail( "the name of a group or port is empty" );
   request.targets.emplace_back( value );
}
Values
targetsOf( ControlRequest const& request ) {
   return request.targets;
}
void
refuseLongReason( std::string_view reason ) {
   if ( reason.size() > reasonLimit )
      fail( "the reason has " + std::to_string( reason.size() ) + " bytes; " +
            std::to_string( reasonLimit ) + " are allowed" );
}
void
readReason( ControlRequest& request, std::string_view value ) {
   refuseLongReason( value );
   request.reason = value;
}
Values
reasonOf( ControlRequest const& request ) {
   return request.reason.empty() ? Values() : Values{ request.reason };
}

// Takes the first word off the text.
std::string_view
takeWord( std::string_view& text ) {
   std::string_view const word = text.substr( 0, text.find( ' ' ) );
   text.remove_prefix( std::min( word.size() + 1, text.size() ) );
   return word;
}
void
readReport( ControlRequest& request, std::string_view value ) {
   Word const word = entryOf( results, takeWord( value ), "result" ).result;
   std::string_view const check = takeWord( value );
   if ( check.empty() )
      fail( "a report needs the name of a check" );
   refuseLongReason( value );
   request.reports.push_back( { std::string( check ), word, std::string( value ) } );
}
Values
reportsOf( ControlRequest const& request ) {
   Values values;
   for ( auto const& [ check, word, reason ] : request.reports ) {
      // The text could not be told from that of another check.
      if ( check.find( ' ' ) != check.npos )
         fail( "no check is called " + excerpt( check ) + ", since it has a space in it" );
      std::string value( std::ranges::find( results, word, &WordEntry::result )->word );
      value.append( " " ).append( check ).append( reason.empty() ? "" : " " ).append( reason );
      values.push_back( std::move( value ) );
   }
   return values;
}

constexpr std::array< Key, 7 > keys{ {
    { "target", targeted, true, readTarget, targetsOf },
    { "report", bit( Verb::report ), true, readReport, reportsOf },
    { "for", lasting, false, readSeconds< &ControlRequest::holdFor >,
      secondsOf< &ControlRequest::holdFor > },
    { "reason", lasting, false, readReason, reasonOf },
    { "force", bit( Verb::down ), false, readFlag< &ControlRequest::isForced >,
      flagOf< &ControlRequest::isForced > },
    { "confirm", bit( Verb::reload ), false, readSeconds< &ControlRequest::confirmWithin >,
      secondsOf< &ControlRequest::confirmWithin > },
    { "dry-run", targeted | bit( Verb::reload ) | bit( Verb::confirm ), false,
      readFlag< &ControlRequest::isDryRun >, flagOf< &ControlRequest::isDryRun > },
} };

void
refuseControlBytes( std::string_view value ) {
   auto const isControl = []( char byte ) {
      return static_cast< unsigned char >( byte ) < ' ' || byte == '\x7f';
   };
   if ( std::ranges::any_of( value, isControl ) )
      fail( excerpt( value ) + " has a control character in it" );
}

struct KindEntry {
   std::string_view word;
   Kind kind;
};
constexpr std::array< KindEntry, 5 > kinds{ {
    { "done", Kind::done },
    { "refused", Kind::refused },
    { "unknown", Kind::unknown },
    { "not-admin", Kind::notAdmin },
    { "failed", Kind::failed },
} };

} // namespace

bool
isWhole( std::string_view text ) {
   return text.find( std::string( "\n" ).append( endLine ) ) != text.npos;
}

std::string_view
wordOf( Verb verb ) {
   return std::ranges::find( verbs, verb, &VerbEntry::verb )->word;
}

std::string
textOf( ControlRequest const& request ) {
   std::string text;
   appendLine( text, requestTitle, {} );
   appendLine( text, "do", wordOf( request.verb ) );
   for ( Key const& key : keys )
      for ( std::string const& value : key.values( request ) ) {
         // A line break would begin another key.
         refuseControlBytes( value );
         appendLine( text, key.word, value );
      }
   text += endLine;
   requestOf( text );
   return text;
}

ControlRequest
requestOf( std::string_view text ) {
   Lines lines( text, requestTitle, requestLimit );
   ControlRequest request;
   auto const [ first, verb ] = lines.take();
   if ( first != "do" )
      fail( "its second line begins with " + excerpt( first ) + " and not with \"do\"" );
   request.verb = entryOf( verbs, verb, "request" ).verb;
   unsigned int seen = 0;
   lines.forEach( [ & ]( std::string_view word, std::string_view value ) {
      refuseControlBytes( value );
      Key const& key = entryOf( keys, word, "key" );
      unsigned int const self = 1u << ( &key - keys.data() );
      if ( ( key.verbs & bit( request.verb ) ) == 0 )
         fail( std::string( wordOf( request.verb ) ) + " takes no " + excerpt( word ) );
      if ( !key.isRepeated && ( seen & self ) != 0 )
         fail( "the key " + excerpt( word ) + " is there twice" );
      seen |= self;
      key.read( request, value );
   } );
   if ( ( bit( request.verb ) & targeted ) != 0 && request.targets.empty() )
      fail( std::string( wordOf( request.verb ) ) + " needs the name of a group or port" );
   if ( request.verb == Verb::report && request.reports.empty() )
      fail( "report needs the name of a check" );
   return request;
}

std::string
textOf( ControlReply const& reply ) {
   std::string text;
   appendLine( text, replyTitle, {} );
   appendLine( text, "is", std::ranges::find( kinds, reply.kind, &KindEntry::kind )->word );
   if ( !reply.text.empty() ) {
      std::string line = reply.text;
      std::ranges::replace( line, '\n', ' ' );
      appendLine( text, "text", line );
   }
   for ( std::string const& port : reply.toShut )
      appendLine( text, "shut", port );
   for ( std::string const& port : reply.toOpen )
      appendLine( text, "open", port );
   return text.append( endLine );
}

ControlReply
replyOf( std::string_view text ) {
   Lines lines( text, replyTitle, replyLimit );
   ControlReply reply;
   auto const [ first, kind ] = lines.take();
   if ( first != "is" )
      fail( "its second line begins with " + excerpt( first ) + " and not with \"is\"" );
   reply.kind = entryOf( kinds, kind, "kind of reply" ).kind;
   lines.forEach( [ & ]( std::string_view key, std::string_view value ) {
      if ( key == "text" )
         reply.text = value;
      else if ( key == "shut" )
         reply.toShut.emplace_back( value );
      else if ( key == "open" )
         reply.toOpen.emplace_back( value );
      else
         fail( "unknown key " + excerpt( key ) );
   } );
   return reply;
}

} // namespace Ufdd
