#pragma once

#include "agent/base/Descriptor.h"

#include <string>
#include <string_view>
#include <sys/stat.h>

namespace Ufdd {

// The directory in which ufdd keeps small files beyond its end, /run/ufdd or that of --state-dir.
// A forged file there would open ports, and ufdd may run as root. Therefore:
// - No link is followed to the directory or in it. Nothing but regular files is opened, and without
//   waiting. A file that is replaced is made anew, never written through.
// - The directory and its files belong to root or to the user that ufdd runs as, and nobody else
//   can write to them. Root also uses the directory of another user if only root can write to the
//   directory above, since then root gave it to that user: `sudo ufdd --release` works on the
//   /run/ufdd of the user ufdd. Files in it may belong to that user, and get that owner.
// - A lock on the file "lock", which nobody else can open, keeps other processes out.
// Functions that return an int return an errno value.
class StateDirectory {
 public:
   static constexpr char const* usualPath = "/run/ufdd";
   // In bytes. A larger file is not read.
   static constexpr std::size_t maxFileSize = 1 << 20;

   // Makes the directory with mode 0750 if there is none. If that fails, there is no directory
   // until renew() succeeds.
   // Throws: std::runtime_error, whose text is for the user, when the directory can't be trusted or
   // another process has it locked.
   explicit StateDirectory( std::string path );
   // Opens the directory beside the process that has it locked, if any, only to read. It is not
   // made, and whatever would change something in it fails. Throws: std::runtime_error, whose text
   // is for the user, when there is one that can't be read.
   static StateDirectory toRead( std::string path );
   StateDirectory( StateDirectory const& ) = delete;
   StateDirectory& operator=( StateDirectory const& ) = delete;

   std::string const& path() const { return path_; }
   // Identifies the present boot and network namespace, in two lines.
   std::string const& epoch() const { return epoch_; }

   // Returns true if the path leads to this directory and nobody has removed the lock.
   bool isThere() const;
   // Makes and locks the directory again if it isn't there, as after its removal.
   int renew();
   // Why the last renew() failed, with the remedy; empty if it succeeded, or if its errno value
   // says it all.
   std::string const& objection() const { return objection_; }

   // Opens a file, with O_RDONLY or O_RDWR and more flags. Returns none, with the reason in errno:
   // EPERM for a file that can't be trusted, ELOOP for a symbolic link, EFBIG for a large file.
   Descriptor open( std::string const& name, int flags ) const;
   // Makes a file with that text and gives it that name, for good. Nobody finds half of it. Opens
   // it as `file`; on failure that and the former file stay as they are.
   int replace( std::string const& name, std::string_view text, Descriptor& file );
   void remove( std::string const& name );
   // Returns true if there is something of that name, whatever it is.
   bool has( std::string const& name ) const;
   // Returns true if that name leads to the open file.
   bool isAt( std::string const& name, Descriptor const& file ) const;
   // Renames a file to NAME.unreadable-1, or with the next free number up to maxAside. Returns the
   // new name; empty if that fails.
   static constexpr int maxAside = 99;
   std::string keepAside( std::string const& name );
   static std::string asideName( std::string const& name, int number ) {
      return name + ".unreadable-" + std::to_string( number );
   }

 private:
   enum class Use { own, read };
   StateDirectory( std::string path, Use use );

   int open( Descriptor& directory, Descriptor& lock );
   int takeLock( Descriptor const& directory, Descriptor& lock );
   bool isTrusted( struct stat const& file ) const;

   std::string const path_;
   std::string const epoch_;
   Use const use_;
   Descriptor directory_;
   Descriptor lock_;
   struct stat status_ {}; // Of the directory.
   std::string objection_;
};

// Returns a whole file, of at most StateDirectory::maxFileSize.
std::string textOf( Descriptor const& file );
// Writes all of a text at that place in the file. Returns an errno value.
int writeText( Descriptor const& file, std::string_view text, std::size_t at );

} // namespace Ufdd
