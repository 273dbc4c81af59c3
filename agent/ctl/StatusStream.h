#pragma once

#include "agent/base/Descriptor.h"
#include "agent/status/StatusReplica.h"

#include <optional>
#include <string>

namespace Ufdd {

// The connection from which a replica of ufdd's Status is fed.
class StatusStream {
 public:
   // Both outlive this.
   StatusStream( std::string const& path, StatusReplica& replica )
       : path_( path ), replica_( replica ) {}

   // Connects and drops an earlier connection. Returns why it can't, with the remedy, or nothing.
   std::optional< std::string > connect();
   // Waits until the peer sends something. False when it has closed the connection.
   bool isServed() const;
   // Waits for news and applies them. False when the peer has closed the connection.
   // Throws: std::runtime_error, which names the socket, for what is no attribute log, and when
   // nothing comes for `seconds`; 0 waits for ever.
   bool receive( int seconds );

 private:
   std::string const& path_;
   StatusReplica& replica_;
   Descriptor socket_;
};

} // namespace Ufdd
