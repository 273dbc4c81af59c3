#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/StateDirectory.h"

#include <string>
#include <string_view>

namespace Ufdd {

// A small text file in the state directory. Three lines, the same in each version, say its format,
// and for which boot and network namespace it holds; the owner's lines follow:
//
//    ufdd-held 2
//    boot 6b1e9d3c-4b0b-4b53-9a0e-0f9c4b7a3a55
//    netns 4026531840
class StateFile {
 public:
   // The file `name`, in the version of its format that this ufdd writes.
   // Borrows: the directory.
   StateFile( StateDirectory& directory, std::string name, unsigned int version );

   struct Content {
      enum Kind {
         none,   // There is no file.
         former, // Of another boot or network namespace.
         current,
         unreadable
      };
      Kind kind = none;
      unsigned int version = 0; // If current. A file without a line for it has version 1.
      // The complete lines after the heading, or of an unreadable file all that could be read. A
      // writer that was killed may have left half a line at the end.
      std::string lines = {};
      // Why it is unreadable: "has version 3, which this ufdd does not know".
      std::string problem = {};
   };
   // Reads this file, or another one of the same format in the directory.
   Content read() const { return read( name_ ); }
   Content read( std::string const& name ) const;

   // Replaces the file at once, for good: a reader finds the former or the new lines. Makes the
   // directory again if it was removed. Returns an errno value.
   int replace( std::string_view lines );
   // Returns true if the file that replace() wrote is not there any more.
   bool isLost() const {
      return file_ && !( directory_.isThere() && directory_.isAt( name_, file_ ) );
   }
   // Where the file is, for the log.
   std::string place() const { return directory_.path() + '/' + name_; }
   // The first three lines.
   std::string const& heading() const { return heading_; }

 private:
   StateDirectory& directory_;
   std::string const name_;
   unsigned int const version_;
   std::string const heading_;
   Descriptor file_; // As last replaced.
};

} // namespace Ufdd
