#pragma once

#include "agent/base/StateFile.h"

#include <optional>
#include <string>

namespace Ufdd {

// The configuration that comes back unless somebody confirms the one that took its place. Times are
// those of Zet::now(), a clock of the machine that the next ufdd has as well.
struct FormerConfig {
   std::string text;    // Of its file.
   double readTime = 0; // When it was read.
   double deadline = 0; // When it comes back, or came back.
};

// The file "former" in the state directory. After the heading of every state file:
//
//    read 1200.000
//    deadline 1234.567
//    size 2048
//
// and so many bytes, which are the text.
class FormerConfigFile {
 public:
   // Borrows: the directory.
   explicit FormerConfigFile( StateDirectory& directory )
       : directory_( directory ), file_( directory, fileName, 1 ) {}

   struct Recollection {
      std::optional< FormerConfig >
          config;               // None unless one was recorded since the machine booted.
      std::string problem = {}; // "is larger than 1 MiB"; empty if the file can be read.
   };
   Recollection recall() const;
   // Records this, safe on return. Returns an errno value; unless that is 0, the former record is
   // still there.
   int remember( FormerConfig const& config );
   // Removes the record. Returns false if that fails.
   bool forget();
   // Renames a file that can't be read, so that it isn't lost. Returns its new name; empty if that
   // fails.
   std::string keepAside() { return directory_.keepAside( fileName ); }
   bool isLost() const { return file_.isLost(); }
   std::string place() const { return file_.place(); }

 private:
   static constexpr char const* fileName = "former";

   StateDirectory& directory_;
   StateFile file_;
};

} // namespace Ufdd
