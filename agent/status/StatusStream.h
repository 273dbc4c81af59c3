#pragma once

#include "agent/base/Descriptor.h"
#include "agent/status/StatusReplica.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace Ufdd {

// ufdd can't be reached, or ends before it has told everything.
class Unreachable : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Connects to ufdd and feeds a replica of its Status.
class StatusStream {
 public:
   // Borrows: path, replica. `program` is what texts call this process.
   StatusStream( std::string const& path, StatusReplica& replica, std::string program = "ufdctl" )
       : path_( path ), replica_( replica ), program_( std::move( program ) ) {}

   // Connects, and drops an earlier connection. Returns why that failed, with the remedy; or
   // nothing.
   std::optional< std::string > connect();
   // Waits until the peer sends something. Returns false if the peer closed the connection, or
   // sends nothing for long.
   bool isServed() const;
   enum class Received { bytes, end, nothing };
   // Waits for bytes, at most so many seconds, and applies them. Returns `end` if the peer closed
   // the connection.
   // Throws: std::runtime_error, which names the socket, when the bytes are no attribute log.
   Received receive( double seconds );
   // The connection, to be polled for input; -1 before connect().
   int fd() const { return socket_.fd(); }
   // Connects for the first time, and reads until the replica is in step.
   // Throws: Unreachable, with the remedy; or as receive() does.
   void fill();

 private:
   bool isReadable( double seconds ) const;

   std::string const& path_;
   StatusReplica& replica_;
   std::string const program_;
   Descriptor socket_;
};

// Returns why ufdd can't be reached at the path, with the remedy. `option` sets the path.
std::string unreachableText( std::string const& path, int error, std::string const& option,
                             std::string const& program = "ufdctl" );

} // namespace Ufdd
