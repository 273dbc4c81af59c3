#pragma once

#include "agent/status/StatusReplica.h"
#include "agent/status/StatusStream.h"

#include <memory>
#include <string>
#include <utility>

namespace Ufdd {

// Keeps a replica of ufdd's roots for as long as this process runs, and connects again when ufdd
// was away. Its caller waits for input, on the connection and on whatever else it serves.
class Follower {
 public:
   // The number of seconds between two tries to connect.
   static constexpr double pause = 1;

   // Borrows: socket, the path at which ufdd serves. `program` is what the log calls this process.
   explicit Follower( std::string const& socket, std::string program = "ufdctl" )
       : socket_( socket ), program_( std::move( program ) ) {}

   // Connects for the first time, and waits at most a second for ufdd's answer.
   void begin();
   // The connection, to be polled for input; -1 while there is none.
   int fd() const { return session_ ? session_->stream.fd() : -1; }
   // Call when fd() has input, and at nextTime(). Takes what has come; connects if that is due.
   // Returns true if there is something new to tell.
   bool handle();
   // When to call handle() even without input, by Zet::now().
   double nextTime() const;
   // Returns ufdd's roots, or null while it is not known what ufdd does.
   StatusRoots const* roots() const;

 private:
   struct Session {
      Session( std::string const& socket, std::string const& program )
          : stream( socket, replica, program ) {}

      StatusReplica replica;
      StatusStream stream;
   };

   bool connect();
   bool receive();
   // Ends the session, and logs why unless that was logged before. Returns true.
   bool lose( std::string const& reason );

   std::string const& socket_;
   std::string const program_;
   std::unique_ptr< Session > session_; // Null while ufdd can't be reached.
   double connectAt_ = 0;               // By Zet::now(), while there is no session.
   std::string told_;                   // Why ufdd can't be reached, as last logged.
};

} // namespace Ufdd
