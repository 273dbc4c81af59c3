#include "agent/OwnershipFile.h"

#include "agent/HoldingLine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr char const* fileName = "held";
constexpr char const* newFileName = "held.new";
constexpr mode_t directoryMode = 0750;
constexpr mode_t fileMode = 0644;

// A file descriptor, closed at the end.
class File {
 public:
   File( int directory, char const* name, int flags )
       : fd_( openat( directory, name, flags | O_CLOEXEC, fileMode ) ) {}
   ~File() {
      if ( isOpen() )
         close( fd_ );
   }
   File( File const& ) = delete;
   File& operator=( File const& ) = delete;

   int fd() const { return fd_; }
   bool isOpen() const { return fd_ >= 0; }
   int release() { return std::exchange( fd_, -1 ); }
   // The whole lines: who wrote half of one was ended meanwhile.
   std::string read() const {
      std::string text;
      std::array< char, 4096 > part;
      for ( ssize_t size = 0; ( size = ::read( fd_, part.data(), part.size() ) ) > 0; )
         text.append( part.data(), static_cast< std::size_t >( size ) );
      text.erase( text.rfind( '\n' ) + 1 );
      return text;
   }

 private:
   int fd_;
};

// The result is an errno value, here and below.
int
writeAll( int fd, std::string_view text, std::size_t at ) {
   while ( !text.empty() ) {
      ssize_t const written = pwrite( fd, text.data(), text.size(), static_cast< off_t >( at ) );
      if ( written < 0 && errno != EINTR )
         return errno;
      if ( written > 0 ) {
         text.remove_prefix( static_cast< std::size_t >( written ) );
         at += static_cast< std::size_t >( written );
      }
   }
   return 0;
}

using Lines = std::vector< std::string_view >;

// Each with its line break.
Lines
linesOf( std::string_view text ) {
   Lines lines;
   for ( std::size_t end = 0; ( end = text.find( '\n' ) ) != std::string_view::npos; ) {
      lines.push_back( text.substr( 0, end + 1 ) );
      text.remove_prefix( end + 1 );
   }
   return lines;
}

// Those that are not among the others.
Lines
difference( Lines const& lines, Lines others ) {
   std::sort( others.begin(), others.end() );
   Lines rest;
   std::copy_if( lines.begin(), lines.end(), std::back_inserter( rest ),
                 [ & ]( std::string_view line ) {
                    return !std::binary_search( others.begin(), others.end(), line );
                 } );
   return rest;
}

std::string
epoch() {
   std::string boot = File( AT_FDCWD, "/proc/sys/kernel/random/boot_id", O_RDONLY ).read();
   if ( boot.empty() )
      boot = "unknown\n";
   struct stat netns {};
   stat( "/proc/thread-self/ns/net", &netns );
   return "boot " + boot + "netns " + std::to_string( netns.st_ino ) + '\n';
}

// In the place of a line's first letters: it counts no more.
constexpr std::string_view struckOut = "gone";
// What is struck out may take that much more room than the rest.
constexpr std::size_t maxStruckOut = 4096;

// "7"
std::string_view
indexOf( std::string_view line ) {
   line.remove_prefix( line.find( ' ' ) + 1 );
   return line.substr( 0, line.find( ' ' ) );
}

} // namespace

OwnershipFile::OwnershipFile( std::string directory )
    : directory_( std::move( directory ) ), epoch_( epoch() ) {
   if ( mkdir( directory_.c_str(), directoryMode ) == 0 || errno == EEXIST )
      directoryFd_ = open( directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC );
   if ( directoryFd_ < 0 )
      error_ = errno;
   else if ( flock( directoryFd_, LOCK_EX | LOCK_NB ) < 0 ) {
      int const error = errno;
      close( directoryFd_ );
      throw std::system_error( error, std::generic_category(),
                               error == EWOULDBLOCK
                                   ? "another ufdd is running and has " + directory_ +
                                         "; stop it, or give this one a --state-dir of its own"
                                   : "can't lock " + directory_ );
   }
}

OwnershipFile::~OwnershipFile() {
   if ( fd_ >= 0 && text_ == epoch_ )
      unlinkat( directoryFd_, fileName, 0 );
   for ( int const fd : { fd_, directoryFd_ } )
      if ( fd >= 0 )
         close( fd );
}

std::vector< Holding >
OwnershipFile::recall() {
   std::vector< Holding > holdings;
   std::string const text = File( directoryFd_, fileName, O_RDONLY ).read();
   if ( !text.starts_with( epoch_ ) )
      return holdings;
   for ( std::string_view const line : linesOf( text ) )
      if ( auto const holding = readHolding( std::string( line ) ) )
         holdings.push_back( *holding );
   return holdings;
}

void
OwnershipFile::add( std::span< Holding const > holdings ) {
   std::string lines;
   for ( Holding const& holding : holdings )
      lines += lineOf( holding );
   if ( isThere() )
      extend( lines );
   else if ( fd_ >= 0 )
      replace( text_ + lines );
}

int
OwnershipFile::remember( std::span< Holding const > holdings ) {
   if ( directoryFd_ < 0 )
      return error_;
   std::string text = epoch_;
   for ( Holding const& holding : holdings )
      text += lineOf( holding );
   bool const isTidy = isThere() && text_.size() <= text.size() + maxStruckOut;
   int const error = isTidy ? amend( text ) : replace( text );
   // On a full disk, what is there can be changed all the same.
   return error && !isTidy && openFormer() ? amend( text ) : error;
}

bool
OwnershipFile::isThere() const {
   struct stat file {};
   return fd_ >= 0 && fstat( fd_, &file ) == 0 && file.st_nlink > 0;
}

bool
OwnershipFile::openFormer() {
   if ( isThere() )
      return true;
   File file( directoryFd_, fileName, O_RDWR | O_DSYNC );
   std::string text = file.read();
   if ( !text.starts_with( epoch_ ) )
      return false;
   take( file.release(), std::move( text ) );
   return true;
}

void
OwnershipFile::take( int fd, std::string text ) {
   if ( fd_ >= 0 )
      close( fd_ );
   fd_ = fd;
   text_ = std::move( text );
}

// What is added comes first: this may be ended anywhere.
int
OwnershipFile::amend( std::string const& wanted ) {
   if ( wanted == epoch_ )
      return cut( wanted.size() );
   std::string const former = text_;
   Lines const before = linesOf( former );
   Lines const after = linesOf( wanted );
   std::string added;
   for ( std::string_view const line : difference( after, before ) )
      added += line;
   int error = extend( added );
   // Where the new line of a link has no room, the old one is better than none.
   auto const isNeeded = [ &, isFull = error != 0 ]( std::string_view line ) {
      return isFull && std::any_of( after.begin(), after.end(), [ & ]( std::string_view other ) {
                return indexOf( other ) == indexOf( line );
             } );
   };
   for ( std::string_view const line : difference( before, after ) )
      if ( !line.starts_with( struckOut ) && !isNeeded( line ) )
         if ( int const failure =
                  strikeOut( static_cast< std::size_t >( line.data() - former.data() ) ) )
            error = failure;
   return error;
}

int
OwnershipFile::extend( std::string_view lines ) {
   int const error = writeAll( fd_, lines, text_.size() );
   if ( !error )
      text_ += lines;
   // Of what has no room, no half is left.
   else if ( cut( text_.size() ) )
      close( std::exchange( fd_, -1 ) );
   return error;
}

int
OwnershipFile::strikeOut( std::size_t place ) {
   int const error = writeAll( fd_, struckOut, place );
   if ( !error )
      text_.replace( place, struckOut.size(), struckOut );
   return error;
}

int
OwnershipFile::cut( std::size_t size ) {
   if ( ftruncate( fd_, static_cast< off_t >( size ) ) != 0 )
      return errno;
   text_.resize( size );
   return fsync( fd_ ) == 0 ? 0 : errno;
}

int
OwnershipFile::replace( std::string const& text ) {
   File file( directoryFd_, newFileName, O_WRONLY | O_CREAT | O_TRUNC | O_DSYNC );
   int error = file.isOpen() ? writeAll( file.fd(), text, 0 ) : errno;
   if ( !error && ( renameat( directoryFd_, newFileName, directoryFd_, fileName ) != 0 ||
                    fsync( directoryFd_ ) != 0 ) )
      error = errno;
   if ( error )
      unlinkat( directoryFd_, newFileName, 0 );
   else
      take( file.release(), text );
   return error;
}

} // namespace Ufdd
