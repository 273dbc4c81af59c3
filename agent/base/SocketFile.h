#pragma once

#include "agent/base/Descriptor.h"

#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace Ufdd {

// What a socket is called in errors and the log.
struct SocketWords {
   std::string name = "status";     // "the status socket"
   std::string option = "--socket"; // The option of ufdd that sets its path.
};

// Listens on a Unix socket at a path. Makes the directory with mode 0750 if there is none, and the
// socket's file with mode 0660; the destructor removes the file. A lock on the file PATH.lock
// keeps other processes from taking the path.
class SocketFile {
 public:
   // Replaces a socket's file on which nobody listens any more. The file belongs to `group` if one
   // is given and this process may give it away, else to the group of this process.
   // Throws: std::system_error, with the path and the remedy, when another process listens there or
   // when the socket can't be made.
   explicit SocketFile( std::string path, SocketWords words = {},
                        std::optional< gid_t > group = std::nullopt );
   ~SocketFile();
   SocketFile( SocketFile const& ) = delete;
   SocketFile& operator=( SocketFile const& ) = delete;

   std::string const& path() const { return path_; }
   // Returns true if the path still leads to this socket. Its file or directory may be removed.
   bool isThere() const;
   // The listening socket; accept() on it does not block.
   int fd() const { return listener_.fd(); }

 private:
   void makeDirectory() const;
   void lock();
   void removeStale() const;
   void listen( std::optional< gid_t > group );

   std::string const path_;
   SocketWords const words_;
   Descriptor lock_;
   Descriptor listener_;
   struct stat file_ {}; // Identifies the socket's file; see isThere().
};

} // namespace Ufdd
