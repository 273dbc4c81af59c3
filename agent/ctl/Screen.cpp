#include "agent/ctl/Screen.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr std::size_t gap = 2;     // Between columns.
constexpr std::size_t itemGap = 4; // Between items, which have gaps of their own.
constexpr std::size_t labelWidth = 9;

std::string_view
escape( Emphasis emphasis ) {
   switch ( emphasis ) {
   case Emphasis::strong:
      return "\x1b[1m";
   case Emphasis::good:
      return "\x1b[32m";
   case Emphasis::warning:
      return "\x1b[33m";
   case Emphasis::bad:
      return "\x1b[1;31m";
   default:
      return "";
   }
}

bool
isSet( char const* variable ) {
   char const* const value = std::getenv( variable );
   return value && *value;
}

std::size_t
lineWidth( Line const& line ) {
   return widthOf( plainText( line ) );
}

// Returns the widths of as many columns as the room has for the items, row by row.
std::vector< std::size_t >
columnsFor( std::vector< Line > const& items, std::size_t room ) {
   constexpr std::size_t most = 8;
   std::vector< std::size_t > widths;
   for ( std::size_t count = std::min( items.size(), most ); count > 0; --count ) {
      widths.assign( count, 0 );
      for ( std::size_t i = 0; i < items.size(); ++i )
         widths[ i % count ] = std::max( widths[ i % count ], lineWidth( items[ i ] ) );
      if ( std::accumulate( widths.begin(), widths.end(), itemGap * ( count - 1 ) ) <= room )
         break;
   }
   return widths;
}

} // namespace

std::string
plainText( Line const& line ) {
   return std::accumulate(
       line.begin(), line.end(), std::string(),
       []( std::string text, Span const& span ) { return std::move( text ) + span.text; } );
}

std::size_t
widthOf( std::string_view text ) {
   // Bytes that continue a UTF-8 character take no column of their own.
   return static_cast< std::size_t >(
       std::ranges::count_if( text, []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
}

Colours
coloursOfOutput() {
   bool const hasColours =
       isatty( STDOUT_FILENO ) && isSet( "TERM" ) && std::getenv( "TERM" ) != std::string( "dumb" );
   return hasColours && !isSet( "NO_COLOR" ) ? Colours::terminal : Colours::none;
}

std::string
Screen::unbroken( Line const& line, Colours colours ) {
   std::string text;
   for ( Span const& span : line ) {
      std::string_view const begin = colours == Colours::terminal ? escape( span.emphasis ) : "";
      text.append( begin ).append( span.text ).append( begin.empty() ? "" : "\x1b[0m" );
   }
   return text;
}

void
Screen::line( Line const& line, std::size_t indent ) {
   std::size_t used = 0;
   for ( Span rest : line ) {
      // Breaks the span at spaces while it does not fit.
      while ( used + widthOf( rest.text ) > columns ) {
         std::size_t const room = columns > used ? columns - used : 0;
         std::size_t at = rest.text.rfind( ' ', room );
         if ( at == std::string::npos || at == 0 ) {
            if ( used <= indent )
               break;
            at = 0;
         }
         Span const fitting( rest.text.substr( 0, at ), rest.emphasis );
         add( fitting );
         text_ += '\n';
         pad( indent );
         used = indent;
         rest.text.erase( 0, rest.text.find_first_not_of( ' ', at ) );
      }
      add( rest );
      used += widthOf( rest.text );
   }
   text_ += '\n';
}

void
Screen::labelled( std::string const& label, Span const& text ) {
   if ( text.text.empty() )
      return;
   std::string padded = std::string( gap, ' ' ) + label;
   padded.resize( gap + labelWidth, ' ' );
   line( { padded, text }, gap + labelWidth );
}

void
Screen::items( std::string_view label, std::vector< Line > const& items ) {
   auto const widths = columnsFor( items, columns - gap - labelWidth );
   for ( std::size_t i = 0; i < items.size(); ++i ) {
      std::size_t const column = i % widths.size();
      if ( column == 0 ) {
         std::string_view const name = i == 0 ? label : "";
         pad( gap );
         text_ += name;
         pad( labelWidth - name.size() );
      }
      for ( Span const& span : items[ i ] )
         add( span );
      if ( i + 1 == items.size() || column + 1 == widths.size() )
         text_ += '\n';
      else
         pad( widths[ column ] - lineWidth( items[ i ] ) + itemGap );
   }
}

void
Screen::table( std::vector< Line > const& rows, std::size_t indent ) {
   std::vector< std::size_t > widths( rows.empty() ? 0 : rows.front().size() );
   for ( Line const& row : rows )
      for ( std::size_t i = 0; i < row.size(); ++i )
         widths[ i ] = std::max( widths[ i ], widthOf( row[ i ].text ) );
   for ( Line const& row : rows ) {
      pad( indent );
      std::size_t due = 0; // The last text is not padded.
      for ( std::size_t i = 0; i < row.size(); ++i ) {
         if ( !row[ i ].text.empty() )
            pad( std::exchange( due, 0 ) );
         add( row[ i ] );
         due += widths[ i ] - widthOf( row[ i ].text ) + gap;
      }
      text_ += '\n';
   }
}

} // namespace Ufdd
