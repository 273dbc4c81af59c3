#include "agent/base/SocketFile.h"

#include "agent/base/UnixSocket.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

constexpr mode_t socketDirectoryMode = 0750;
constexpr mode_t socketMode = 0660;

// Keeps the permissions of files made while this exists within `mode`.
class TightUmask {
 public:
   explicit TightUmask( mode_t mode ) : before_( umask( 0777 & ~mode ) ) {}
   ~TightUmask() { umask( before_ ); }
   TightUmask( TightUmask const& ) = delete;
   TightUmask& operator=( TightUmask const& ) = delete;

 private:
   mode_t before_;
};

[[noreturn]] void
fail( int error, std::string const& what ) {
   throw std::system_error( error, std::generic_category(), what );
}

} // namespace

SocketFile::SocketFile( std::string path, SocketWords words, std::optional< gid_t > group )
    : path_( std::move( path ) ), words_( std::move( words ) ) {
   unixAddress( path_ );
   makeDirectory();
   lock();
   removeStale();
   listen( group );
}

SocketFile::~SocketFile() {
   // The path may lead to another process's socket by now.
   if ( isThere() )
      unlink( path_.c_str() );
}

bool
SocketFile::isThere() const {
   struct stat file {};
   return lstat( path_.c_str(), &file ) == 0 && file.st_dev == file_.st_dev &&
          file.st_ino == file_.st_ino;
}

void
SocketFile::makeDirectory() const {
   std::string const directory = path_.substr( 0, path_.find_last_of( '/' ) + 1 );
   TightUmask const tight( socketDirectoryMode );
   if ( !directory.empty() && mkdir( directory.c_str(), socketDirectoryMode ) < 0 &&
        errno != EEXIST )
      fail( errno, "can't make the directory " + directory + " of the " + words_.name +
                       " socket; make it, or name another socket by " + words_.option );
}

void
SocketFile::lock() {
   std::string const file = path_ + ".lock";
   lock_ = Descriptor( open( file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600 ) );
   if ( !lock_ )
      fail( errno, "can't make " + file + ", which reserves the " + words_.name +
                       " socket; make it writable for ufdd, or name another socket by " +
                       words_.option );
   if ( flock( lock_.fd(), LOCK_EX | LOCK_NB ) == 0 )
      return;
   if ( errno != EWOULDBLOCK )
      fail( errno, "can't lock " + file );
   fail( EADDRINUSE, "another ufdd is running and serves " + path_ +
                         "; stop it, or give this one a " + words_.option + " of its own" );
}

void
SocketFile::removeStale() const {
   struct stat file {};
   if ( lstat( path_.c_str(), &file ) < 0 ) {
      if ( errno == ENOENT )
         return;
      fail( errno, "can't look at " + path_ );
   }
   if ( !S_ISSOCK( file.st_mode ) )
      fail( EEXIST,
            path_ + " is not a socket; remove it, or name another path by " + words_.option );
   // The lock excludes only other ufdd processes, not a program whose socket was named by mistake.
   if ( unixStreamTo( path_ ) || errno != ECONNREFUSED )
      fail( EADDRINUSE, "another program listens on " + path_ +
                            "; stop it, or name another socket by " + words_.option );
   if ( unlink( path_.c_str() ) < 0 )
      fail( errno, "can't remove the old socket " + path_ );
}

void
SocketFile::listen( std::optional< gid_t > group ) {
   sockaddr_un const address = unixAddress( path_ );
   listener_ = unixStream();
   TightUmask const tight( socketMode );
   if ( bind( listener_.fd(), reinterpret_cast< sockaddr const* >( &address ), sizeof address ) <
        0 )
      fail( errno, "can't make " + path_ );
   if ( group && lchown( path_.c_str(), static_cast< uid_t >( -1 ), *group ) < 0 && errno != EPERM )
      fail( errno, "can't give " + path_ + " to the group " + std::to_string( *group ) );
   if ( ::listen( listener_.fd(), SOMAXCONN ) < 0 ||
        fcntl( listener_.fd(), F_SETFL, O_NONBLOCK ) < 0 || lstat( path_.c_str(), &file_ ) < 0 )
      fail( errno, "can't listen on " + path_ );
}

} // namespace Ufdd
