#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ufdd {

// A place in a text, counted from 1.
struct Place {
   std::uint32_t line = 0;
   std::uint32_t column = 0;
   auto operator<=>( Place const& ) const = default; // NOLINT(modernize-use-nullptr)
};

// Returns the text in double quotes.
inline std::string
quoted( std::string_view text ) {
   return '"' + std::string( text ) + '"';
}

// Returns true for control characters. A line break, for example, would split a line of the log.
constexpr bool
isControl( unsigned char byte ) {
   return byte < ' ' || byte == 0x7f;
}

// The errors, warnings and notes about one file.
class Findings {
 public:
   // `file` names the file in the texts.
   explicit Findings( std::string_view file ) : file_( file ) {}

   void error( Place place, std::string text ) {
      errors_.push_back( { place, std::move( text ) } );
   }
   void warning( Place place, std::string text ) {
      warnings_.push_back( { place, "warning: " + std::move( text ) } );
   }
   // Adds something that may be intended, to be listed among the warnings.
   void note( Place place, std::string text ) {
      warnings_.push_back( { place, "note: " + std::move( text ) } );
   }

   // In the order of the file: "FILE:LINE:COLUMN: TEXT".
   std::vector< std::string > errors() const { return lines( errors_ ); }
   // In the order of the file: "FILE:LINE:COLUMN: warning: TEXT" or "FILE:LINE:COLUMN: note: TEXT".
   std::vector< std::string > warnings() const { return lines( warnings_ ); }

 private:
   struct Finding {
      Place place;
      std::string text;
   };

   std::vector< std::string > lines( std::vector< Finding > findings ) const;

   std::string file_;
   std::vector< Finding > errors_;
   std::vector< Finding > warnings_;
};

} // namespace Ufdd
