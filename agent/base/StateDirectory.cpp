#include "agent/base/StateDirectory.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr mode_t directoryMode = 0750;
constexpr mode_t fileMode = 0644;
constexpr mode_t lockMode = 0600;
constexpr mode_t othersWrite = S_IWGRP | S_IWOTH;
constexpr char const* lockName = "lock";
constexpr char const* newSuffix = ".new";

// Without a slash at the end, behind which a link would be followed.
std::string
trimmed( std::string path ) {
   while ( path.size() > 1 && path.back() == '/' )
      path.pop_back();
   return path;
}

ino_t
networkNamespace() {
   struct stat netns {};
   stat( "/proc/thread-self/ns/net", &netns );
   return netns.st_ino;
}

std::string
epochNow() {
   std::string boot =
       textOf( Descriptor( ::open( "/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC ) ) );
   if ( boot.empty() )
      boot = "unknown\n";
   return "boot " + boot + "netns " + std::to_string( networkNamespace() ) + '\n';
}

bool
isSame( struct stat const& left, struct stat const& right ) {
   return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool
isSame( int directory, char const* name, Descriptor const& file ) {
   struct stat opened {};
   struct stat found {};
   return file && fstat( file.fd(), &opened ) == 0 &&
          fstatat( directory, name, &found, AT_SYMLINK_NOFOLLOW ) == 0 && isSame( opened, found );
}

// Returns why a directory can't be trusted, as the rest of a sentence that begins with its path,
// and what to do; empty if it can.
std::string
objectionTo( struct stat const& directory, struct stat const& above, std::string const& path ) {
   uid_t const self = geteuid();
   bool const isGiven = self == 0 && above.st_uid == 0 && ( above.st_mode & othersWrite ) == 0;
   if ( directory.st_uid != 0 && directory.st_uid != self && !isGiven )
      return " belongs to user " + std::to_string( directory.st_uid ) +
             ", who could forge the files there; name another --state-dir, or remove what is "
             "there and then: chown " +
             std::to_string( self ) + ' ' + path;
   if ( directory.st_mode & othersWrite )
      return " can be written by others, who could forge the files there; remove what is there, "
             "then: chmod go-w " +
             path;
   return "";
}

// Gives a new file to the owner of the directory, whose ufdd couldn't open a file of root's. Fails
// only where that isn't needed: for a user other than root, who can use no other one's directory.
void
giveToOwner( Descriptor const& file, struct stat const& directory ) {
   if ( directory.st_uid != geteuid() && fchown( file.fd(), directory.st_uid, directory.st_gid ) )
      errno = 0;
}

// Returns who holds the lock: "another ufdd (process 71) uses /run/ufdd; stop it".
std::string
objectionTo( Descriptor const& lock, std::string const& path ) {
   std::string const holder = textOf( lock );
   std::string const process = holder.substr( 0, holder.find( ' ' ) );
   bool const isKnown =
       !process.empty() && process.find_first_not_of( "0123456789" ) == std::string::npos;
   bool const isElsewhere =
       isKnown && holder != process + ' ' + std::to_string( networkNamespace() ) + '\n';
   return "another ufdd" + ( isKnown ? " (process " + process + ")" : "" ) +
          ( isElsewhere ? ", of another network namespace, uses " + path +
                              "; give each namespace a --state-dir of its own"
                        : " uses " + path + "; stop it first" );
}

} // namespace

std::string
textOf( Descriptor const& file ) {
   std::string text;
   std::array< char, 4096 > part;
   for ( ssize_t size = 0; text.size() < StateDirectory::maxFileSize &&
                           ( size = pread( file.fd(), part.data(), part.size(),
                                           static_cast< off_t >( text.size() ) ) ) > 0; )
      text.append( part.data(), static_cast< std::size_t >( size ) );
   return text;
}

int
writeText( Descriptor const& file, std::string_view text, std::size_t at ) {
   while ( !text.empty() ) {
      ssize_t const written =
          pwrite( file.fd(), text.data(), text.size(), static_cast< off_t >( at ) );
      if ( written < 0 && errno != EINTR )
         return errno;
      if ( written > 0 ) {
         text.remove_prefix( static_cast< std::size_t >( written ) );
         at += static_cast< std::size_t >( written );
      }
   }
   return 0;
}

StateDirectory::StateDirectory( std::string path )
    : StateDirectory( std::move( path ), Use::own ) {}

StateDirectory
StateDirectory::toRead( std::string path ) {
   return StateDirectory( std::move( path ), Use::read );
}

StateDirectory::StateDirectory( std::string path, Use use )
    : path_( trimmed( std::move( path ) ) ), epoch_( epochNow() ), use_( use ) {
   int const error = renew();
   if ( use == Use::read && error && error != ENOENT && objection_.empty() )
      objection_ = path_ + " can't be read: " + std::strerror( error );
   if ( !objection_.empty() )
      throw std::runtime_error( objection_ );
}

bool
StateDirectory::isThere() const {
   return isSame( AT_FDCWD, path_.c_str(), directory_ ) &&
          isSame( directory_.fd(), lockName, lock_ );
}

int
StateDirectory::renew() {
   objection_.clear();
   if ( isThere() )
      return 0;
   Descriptor directory;
   Descriptor lock;
   if ( int const error = open( directory, lock ) )
      return error;
   directory_ = std::move( directory );
   lock_ = std::move( lock );
   fstat( directory_.fd(), &status_ );
   return 0;
}

int
StateDirectory::open( Descriptor& directory, Descriptor& lock ) {
   if ( use_ == Use::own && mkdir( path_.c_str(), directoryMode ) != 0 && errno != EEXIST )
      return errno;
   directory = Descriptor(
       ::open( path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC ) );
   struct stat status {};
   struct stat above {};
   if ( !directory || fstat( directory.fd(), &status ) != 0 ||
        fstatat( directory.fd(), "..", &above, 0 ) != 0 ) {
      int const error = errno;
      if ( error == ELOOP || error == ENOTDIR )
         objection_ = path_ + " is not a directory, or a link to one; remove it, or name the "
                              "directory itself by --state-dir";
      return error;
   }
   if ( use_ == Use::read )
      return 0;
   if ( std::string const objection = objectionTo( status, above, path_ ); !objection.empty() ) {
      objection_ = path_ + objection;
      return EPERM;
   }
   int const error = takeLock( directory, lock );
   if ( !error )
      giveToOwner( lock, status );
   return error;
}

int
StateDirectory::takeLock( Descriptor const& directory, Descriptor& lock ) {
   constexpr int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
   lock = Descriptor( openat( directory.fd(), lockName, flags | O_CREAT, lockMode ) );
   struct stat status {};
   if ( !lock || fstat( lock.fd(), &status ) != 0 )
      return errno;
   // By a further link, the name could stand for somebody else's file.
   if ( !S_ISREG( status.st_mode ) || status.st_nlink > 1 ) {
      objection_ = path_ + '/' + lockName + " is no regular file of its own; remove it";
      return EPERM;
   }
   if ( flock( lock.fd(), LOCK_EX | LOCK_NB ) != 0 ) {
      int const error = errno;
      if ( error == EWOULDBLOCK )
         objection_ = objectionTo( lock, path_ );
      return error;
   }
   // Somebody removed the file before it was locked.
   if ( !isSame( directory.fd(), lockName, lock ) )
      return EAGAIN;
   // Only names the process in errors. A full disk has no room for that.
   std::string const holder =
       std::to_string( getpid() ) + ' ' + std::to_string( networkNamespace() ) + '\n';
   if ( ftruncate( lock.fd(), 0 ) == 0 )
      writeText( lock, holder, 0 );
   return 0;
}

bool
StateDirectory::isTrusted( struct stat const& file ) const {
   bool const isOwned =
       file.st_uid == 0 || file.st_uid == geteuid() || file.st_uid == status_.st_uid;
   return S_ISREG( file.st_mode ) && isOwned && file.st_nlink == 1 &&
          ( file.st_mode & othersWrite ) == 0;
}

Descriptor
StateDirectory::open( std::string const& name, int flags ) const {
   Descriptor file( openat( directory_.fd(), name.c_str(),
                            flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC ) );
   struct stat status {};
   if ( !file || fstat( file.fd(), &status ) != 0 )
      return Descriptor();
   errno = !isTrusted( status )                                         ? EPERM
           : static_cast< std::size_t >( status.st_size ) > maxFileSize ? EFBIG
                                                                        : 0;
   return errno ? Descriptor() : std::move( file );
}

int
StateDirectory::replace( std::string const& name, std::string_view text, Descriptor& file ) {
   if ( use_ == Use::read )
      return EROFS;
   std::string const temporary = name + newSuffix;
   remove( temporary );
   Descriptor made( openat( directory_.fd(), temporary.c_str(),
                            O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_DSYNC | O_CLOEXEC,
                            fileMode ) );
   if ( !made )
      return errno;
   giveToOwner( made, status_ );
   int error = writeText( made, text, 0 );
   if ( !error &&
        ( renameat( directory_.fd(), temporary.c_str(), directory_.fd(), name.c_str() ) != 0 ||
          fsync( directory_.fd() ) != 0 ) )
      error = errno;
   if ( error )
      remove( temporary );
   else
      file = std::move( made );
   return error;
}

void
StateDirectory::remove( std::string const& name ) {
   if ( use_ == Use::own )
      unlinkat( directory_.fd(), name.c_str(), 0 );
}

bool
StateDirectory::has( std::string const& name ) const {
   return faccessat( directory_.fd(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW ) == 0;
}

bool
StateDirectory::isAt( std::string const& name, Descriptor const& file ) const {
   return isSame( directory_.fd(), name.c_str(), file );
}

std::string
StateDirectory::keepAside( std::string const& name ) {
   if ( use_ == Use::read )
      return "";
   for ( int number = 1; number <= maxAside; ++number ) {
      std::string aside = asideName( name, number );
      if ( renameat2( directory_.fd(), name.c_str(), directory_.fd(), aside.c_str(),
                      RENAME_NOREPLACE ) == 0 )
         return aside;
      if ( errno != EEXIST )
         break;
   }
   return "";
}

} // namespace Ufdd
