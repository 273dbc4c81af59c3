#pragma once

#include "agent/base/Descriptor.h"

#include <array>
#include <csignal>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace Ufdd {

// Runs `body` in a copy of this process, which exits with 0 if `body` returns true. The destructor
// kills the copy if it still runs.
class ForkedProcess {
 public:
   template < class Body > explicit ForkedProcess( Body body ) : pid_( fork() ) {
      if ( pid_ != 0 )
         return;
      prctl( PR_SET_PDEATHSIG, SIGKILL );
      _exit( body() ? 0 : 1 );
   }
   ~ForkedProcess() {
      if ( pid_ > 0 )
         kill( pid_, SIGKILL );
      wait();
   }
   ForkedProcess( ForkedProcess const& ) = delete;
   ForkedProcess& operator=( ForkedProcess const& ) = delete;

   // Waits for the end. Returns the exit status, or the negative number of the signal that ended
   // it.
   int wait() {
      int status = 0;
      if ( pid_ > 0 )
         waitpid( std::exchange( pid_, 0 ), &status, 0 );
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
   }

 private:
   pid_t pid_;
};

// Two stream sockets that are connected to each other.
struct SocketPair {
   SocketPair() {
      std::array< int, 2 > fds{ -1, -1 };
      socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds.data() );
      near = Descriptor( fds[ 0 ] );
      far = Descriptor( fds[ 1 ] );
   }
   Descriptor near;
   Descriptor far;
};

} // namespace Ufdd
