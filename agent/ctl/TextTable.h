#pragma once

#include "agent/base/Printable.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// Rows of text, printed with their columns aligned.
class TextTable {
 public:
   struct Cell {
      Cell( std::string_view content ) : text( printable( content ) ) {}
      Cell( std::string const& content ) : Cell( std::string_view( content ) ) {}
      Cell( char const* content ) : Cell( std::string_view( content ) ) {}

      std::string text;
      // The escape sequence that begins the text's colour; empty for none.
      std::string_view colour = {};
   };

   // `indent` begins each line.
   TextTable( std::string indent, std::vector< Cell > heading )
       : indent_( std::move( indent ) ), rows_{ std::move( heading ) } {}

   // Requires: there are as many cells as in the heading.
   void row( std::vector< Cell > cells ) { rows_.push_back( std::move( cells ) ); }
   std::string text() const;

   // Returns the number of columns that the text takes on a terminal: one per character.
   static std::size_t width( std::string_view text );
   // Returns the text between the colour's escape sequence and the one that ends it.
   static std::string coloured( std::string_view text, std::string_view colour );

 private:
   std::string indent_;
   std::vector< std::vector< Cell > > rows_;
};

} // namespace Ufdd
