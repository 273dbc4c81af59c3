#pragma once

#include "agent/base/Printable.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// How a text stands out on a terminal.
enum class Emphasis { none, strong, good, warning, bad };

// Text with its emphasis. Its control characters are made visible.
struct Span {
   Span( std::string_view content, Emphasis how = Emphasis::none )
       : text( printable( content ) ), emphasis( how ) {}
   Span( std::string const& content, Emphasis how = Emphasis::none )
       : Span( std::string_view( content ), how ) {}
   Span( char const* content, Emphasis how = Emphasis::none )
       : Span( std::string_view( content ), how ) {}

   std::string text;
   Emphasis emphasis;
};
using Line = std::vector< Span >;

// Returns the text of the line without its emphasis.
std::string plainText( Line const& line );
// Returns the number of columns that the text takes on a terminal: one per character.
std::size_t widthOf( std::string_view text );

// The colours that the output may have.
enum class Colours { none, terminal };
// Returns `terminal` if standard output is a terminal that can show colours, and NO_COLOR is unset.
Colours coloursOfOutput();

// Lays out lines for a terminal of 80 columns.
class Screen {
 public:
   static constexpr std::size_t columns = 80;

   explicit Screen( Colours colours ) : colours_( colours ) {}

   // Adds a line. A line that is too long goes on below, indented by so many columns.
   void line( Line const& line, std::size_t indent = 0 );
   // Adds the label and, right of it, the text. Adds nothing for an empty text.
   void labelled( std::string const& label, Span const& text );
   // Adds the label and, right of it, the items in as many columns as fit.
   void items( std::string_view label, std::vector< Line > const& items );
   // Adds the rows with their columns aligned. Requires: all rows have as many cells.
   void table( std::vector< Line > const& rows, std::size_t indent = 0 );
   std::string const& text() const { return text_; }

   // Returns the line, however long, with its colours.
   static std::string unbroken( Line const& line, Colours colours );

 private:
   void add( Span const& span ) { text_ += unbroken( { span }, colours_ ); }
   void pad( std::size_t width ) { text_.append( width, ' ' ); }

   Colours const colours_;
   std::string text_;
};

} // namespace Ufdd
