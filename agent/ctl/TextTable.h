#pragma once

#include <string>
#include <vector>

namespace Ufdd {

// Rows of text, printed with their columns aligned.
class TextTable {
 public:
   // `indent` begins each line.
   TextTable( std::string indent, std::vector< std::string > heading )
       : indent_( std::move( indent ) ), rows_{ std::move( heading ) } {}

   // Requires: as many cells as the heading has.
   void row( std::vector< std::string > cells ) { rows_.push_back( std::move( cells ) ); }
   std::string text() const;

 private:
   std::string indent_;
   std::vector< std::vector< std::string > > rows_;
};

} // namespace Ufdd
