#pragma once

#include "agent/base/Log.h"

#include <optional>
#include <string>

namespace Ufdd {

// Logs troubles that others can cause as often as they like: the first one at once, and then at
// most one a second, the last of those that came meanwhile, with their number.
class Troubles {
 public:
   // Borrows: the log.
   explicit Troubles( Log& log ) : log_( log ) {}

   void add( std::string text );
   // Logs what is due. Called in every turn of the loop.
   void report();
   // When report() has to be called, by Zet::now(), though nothing else happens.
   std::optional< double > nextTime() const;

 private:
   static constexpr double pause = 1;

   Log& log_;
   std::string last_;
   unsigned int count_ = 0; // Since the last line.
   double quietUntil_ = 0;
};

} // namespace Ufdd
