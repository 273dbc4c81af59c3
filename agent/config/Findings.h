#pragma once

#include "agent/base/Printable.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
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

// The place of each name of a list.
using NamePlaces = std::map< std::string, Place, std::less<> >;

// The errors, warnings and notes about one file. Lists the first `maxListed` errors and as many
// warnings, and counts the others, since a file may be wrong a hundred thousand times.
class Findings {
 public:
   static constexpr std::size_t maxListed = 100;

   // `file` names the file in the texts.
   explicit Findings( std::string_view file ) : file_( file ) {}

   void error( Place place, std::string text ) { errors_.add( place, std::move( text ) ); }
   void warning( Place place, std::string const& text ) {
      hasWarnings_ = true;
      warnings_.add( place, "warning: " + text );
   }
   // Adds something that may be intended, to be listed among the warnings.
   void note( Place place, std::string const& text ) { warnings_.add( place, "note: " + text ); }

   std::size_t errorCount() const { return errors_.count; }
   // Returns true if there is a warning, beside notes.
   bool hasWarnings() const { return hasWarnings_; }

   // In the order of the file: "FILE:LINE:COLUMN: TEXT".
   std::vector< std::string > errors() const { return lines( errors_, "errors" ); }
   // In the order of the file: "FILE:LINE:COLUMN: warning: TEXT" or "FILE:LINE:COLUMN: note: TEXT".
   std::vector< std::string > warnings() const { return lines( warnings_, "warnings" ); }

 private:
   struct List {
      std::multimap< Place, std::string > first; // At most maxListed.
      std::size_t count = 0;

      void add( Place place, std::string text );
   };

   std::vector< std::string > lines( List const& list, std::string_view what ) const;

   std::string file_;
   List errors_;
   List warnings_;
   bool hasWarnings_ = false;
};

} // namespace Ufdd
