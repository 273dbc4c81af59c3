#pragma once

#include "agent/base/Log.h"

#include <optional>
#include <string>

namespace Ufdd {

// Logs troubles that others can cause as often as they like. Logs the first at once, then at most
// one a second: the latest, with the number of troubles since the last line.
class Troubles {
 public:
   // Borrows: the log.
   explicit Troubles( Log& log ) : log_( log ) {}

   void add( std::string text );
   // Logs a trouble if one is due. Call it in every turn of the loop.
   void report();
   // Returns when to call report() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;

 private:
   static constexpr double pause = 1; // In seconds.

   Log& log_;
   std::string last_;
   unsigned int count_ = 0; // Number of troubles since the last line.
   double quietUntil_ = 0;  // By Zet::now().
};

} // namespace Ufdd
