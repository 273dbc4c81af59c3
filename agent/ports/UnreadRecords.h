#pragma once

#include "agent/base/Log.h"
#include "agent/kernel/LinkSource.h"
#include "agent/ports/OwnedLinkStore.h"

#include <vector>

namespace Ufdd {

// The records that can't be read. Names the ports that they may mean, for the operator to open: any
// link that is shut, is not ours and whose name is a word of such a record.
class UnreadRecords {
 public:
   // Borrows: the log.
   explicit UnreadRecords( Log& log ) : log_( log ) {}

   void add( std::vector< UnreadRecord > records );
   // Logs how to open a link that is not ours, if a record may mean it.
   void examine( Link const& link );
   // Call when all links were examined.
   void end();
   // Returns true if there was a new record that can't be read, or a port was named.
   bool hasFound() const { return hasFound_; }

 private:
   Log& log_;
   std::vector< UnreadRecord > records_;
   std::vector< std::string > named_; // Places of records for which a port was named.
   bool hasFound_ = false;
};

} // namespace Ufdd
