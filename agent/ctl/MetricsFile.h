#pragma once

#include "agent/status/Follower.h"

#include <string>

namespace Ufdd {

// Keeps a file with the metrics, for a collector of text files. Writes it when they change, but at
// most once a second, and every 15 s, so that its time shows that it is kept. A reader finds the
// former or the new text, never a part.
class MetricsFile {
 public:
   static constexpr double leastPause = 1;
   static constexpr double mostPause = 15;

   // Borrows: both.
   MetricsFile( Follower& follower, std::string const& path );

   // Writes the file until the process ends. Errors after the first time are logged.
   // Throws: Failure, with the path and the remedy, when the file can't be written the first time.
   [[noreturn]] void keep();

 private:
   // Returns an errno value.
   int replace( std::string const& text ) const;
   void write();

   Follower& follower_;
   std::string const& path_;
   // In the same directory, with a name that no collector takes for metrics.
   std::string const draft_;
   int told_ = 0;           // The error that was last logged; 0 if the file could be written.
   bool isWritten_ = false; // Once at least.
};

} // namespace Ufdd
