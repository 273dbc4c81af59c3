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

// In double quotes.
inline std::string
quoted( std::string_view text ) {
   return '"' + std::string( text ) + '"';
}

// A line break among them: it would end the line of the log that it is in.
constexpr bool
isControl( unsigned char byte ) {
   return byte < ' ' || byte == 0x7f;
}

// What was found out about one file.
class Findings {
 public:
   // `file` is how the texts call it.
   explicit Findings( std::string_view file ) : file_( file ) {}

   void error( Place place, std::string text ) {
      errors_.push_back( { place, std::move( text ) } );
   }
   void warning( Place place, std::string text ) {
      warnings_.push_back( { place, "warning: " + std::move( text ) } );
   }
   // What may be as it should, told among the warnings.
   void note( Place place, std::string text ) {
      warnings_.push_back( { place, "note: " + std::move( text ) } );
   }

   // "FILE:LINE:COLUMN: TEXT", in the order of the file.
   std::vector< std::string > errors() const { return lines( errors_ ); }
   // "FILE:LINE:COLUMN: warning: TEXT", or with "note: "
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
