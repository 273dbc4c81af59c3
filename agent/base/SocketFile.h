#pragma once

#include "agent/base/Descriptor.h"

#include <string>
#include <sys/stat.h>

namespace Ufdd {

// A Unix socket that this process listens on, with its file, which goes at the end. The directory
// is made, mode 0750, if there is none; the socket has mode 0660. One process at a time has the
// path: it holds a lock on the file beside it that ends in ".lock".
class SocketFile {
 public:
   // A socket file that nobody listens on any more is replaced.
   // Throws: std::system_error, with the path and the remedy, when somebody does, and when the
   // socket can't be made.
   explicit SocketFile( std::string path );
   ~SocketFile();
   SocketFile( SocketFile const& ) = delete;
   SocketFile& operator=( SocketFile const& ) = delete;

   std::string const& path() const { return path_; }
   // Whether the path still leads here: its file or directory may have been removed.
   bool isThere() const;
   // Accepting from it does not wait.
   int fd() const { return listener_.fd(); }

 private:
   void makeDirectory() const;
   void lock();
   void removeStale() const;
   void listen();

   std::string const path_;
   Descriptor lock_;
   Descriptor listener_;
   struct stat file_ {};
};

} // namespace Ufdd
