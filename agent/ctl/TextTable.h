#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// Rows of text, printed with their columns aligned.
class TextTable {
 public:
   struct Cell {
      Cell( std::string content ) : text( std::move( content ) ) {}
      Cell( char const* content ) : text( content ) {}

      std::string text;
      // What a terminal is told before the text; nothing where that has no colour.
      std::string_view colour = {};
   };

   // `indent` begins each line.
   TextTable( std::string indent, std::vector< Cell > heading )
       : indent_( std::move( indent ) ), rows_{ std::move( heading ) } {}

   // Requires: as many cells as the heading has.
   void row( std::vector< Cell > cells ) { rows_.push_back( std::move( cells ) ); }
   std::string text() const;

   // How many places the text takes on a terminal: one a character.
   static std::size_t width( std::string_view text );
   // The text with its colour, which ends there.
   static std::string coloured( std::string_view text, std::string_view colour );

 private:
   std::string indent_;
   std::vector< std::vector< Cell > > rows_;
};

} // namespace Ufdd
