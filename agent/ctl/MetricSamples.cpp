#include "agent/ctl/MetricSamples.h"

#include <array>
#include <charconv>
#include <utility>

namespace Ufdd {

namespace {

// Writes the text of a label or a help. The text is UTF-8, since all names in it come from the
// configuration file.
void
appendEscaped( std::string& text, std::string_view value, bool isQuoted ) {
   for ( char const byte : value )
      if ( byte == '\n' )
         text += "\\n";
      else if ( byte == '\\' || ( byte == '"' && isQuoted ) )
         text.append( 1, '\\' ) += byte;
      else
         text += byte;
}

} // namespace

void
MetricSamples::begin( std::string_view name, std::string_view type, std::string_view help ) {
   family_ = name;
   head_.assign( "# HELP " ).append( name ) += ' ';
   appendEscaped( head_, help, false );
   head_.append( "\n# TYPE " ).append( name ).append( 1, ' ' ).append( type ) += '\n';
}

void
MetricSamples::add( Labels labels, double value, std::string_view suffix ) {
   text_ += std::exchange( head_, {} );
   text_.append( family_ ).append( suffix );
   char separator = '{';
   for ( auto const& [ name, content ] : labels ) {
      text_.append( 1, separator ).append( name ).append( "=\"" );
      appendEscaped( text_, content, true );
      text_ += '"';
      separator = ',';
   }
   text_ += labels.size() == 0 ? " " : "} ";
   // The shortest text that reads as exactly this number. The longest is that of the least double.
   std::array< char, 1100 > number;
   auto const end = std::to_chars( number.begin(), number.end(), value, std::chars_format::fixed );
   text_.append( number.data(), end.ptr ) += '\n';
}

} // namespace Ufdd
