#pragma once

#include "agent/base/Descriptor.h"
#include "agent/status/StatusReplica.h"

#include <optional>
#include <string>

namespace Ufdd {

// Connects to ufdd and feeds a replica of its Status.
class StatusStream {
 public:
   // Borrows: both.
   StatusStream( std::string const& path, StatusReplica& replica )
       : path_( path ), replica_( replica ) {}

   // Connects, and drops an earlier connection. Returns why that failed, with the remedy; or
   // nothing.
   std::optional< std::string > connect();
   // Waits until the peer sends something. Returns false if the peer closed the connection.
   bool isServed() const;
   // Waits for bytes and applies them. Returns false if the peer closed the connection.
   // Throws: std::runtime_error, which names the socket, when the bytes are no attribute log or
   // when nothing comes for `seconds`; 0 waits for ever.
   bool receive( int seconds );

 private:
   std::string const& path_;
   StatusReplica& replica_;
   Descriptor socket_;
};

} // namespace Ufdd
