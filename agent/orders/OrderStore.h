#pragma once

#include "agent/orders/Order.h"

#include <string>

namespace Ufdd {

// Keeps the orders beyond the end of the process, however it ends, until the machine boots again.
class OrderStore {
 public:
   virtual ~OrderStore() = default;

   struct Recollection {
      OrderBook book;
      // What could not be read, and where it is kept; empty if all could be.
      std::string trouble = {};
   };
   // Returns what was recorded since the machine booted, in this network namespace.
   virtual Recollection recall() = 0;
   // Records exactly this book, safe on return. Returns an errno value; unless that is 0, the
   // former record is still there.
   virtual int remember( OrderBook const& book ) = 0;
   // Returns true if what remember() wrote is not there any more.
   virtual bool isLost() const = 0;
   // Where the record is, for the log.
   virtual std::string place() const = 0;
};

} // namespace Ufdd
