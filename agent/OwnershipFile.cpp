#include "agent/OwnershipFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;

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
   std::string read() const {
      std::string text;
      std::array< char, 4096 > part;
      for ( ssize_t size = 0; ( size = ::read( fd_, part.data(), part.size() ) ) > 0; )
         text.append( part.data(), static_cast< std::size_t >( size ) );
      return text;
   }

 private:
   int fd_;
};

bool
writeAll( int fd, std::string_view text ) {
   while ( !text.empty() ) {
      ssize_t const written = ::write( fd, text.data(), text.size() );
      if ( written < 0 && errno != EINTR )
         return false;
      if ( written > 0 )
         text.remove_prefix( static_cast< std::size_t >( written ) );
   }
   return true;
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

constexpr std::array< std::pair< Means, std::string_view >, 3 > meansWords{
   { { Means::adminDown, "down" },
     { Means::protoDown, "protodown" },
     { Means::onlyReason, "reason" } }
};
constexpr unsigned int maxReason = 31;
constexpr char const* heldWord = "held";
constexpr char const* overriddenWord = "overridden";

// "protodown:5"
bool
readMeans( std::string const& text, Holding& holding ) {
   std::size_t const colon = text.find( ':' );
   std::string const word = text.substr( 0, colon );
   auto const* const known = std::find_if( meansWords.begin(), meansWords.end(),
                                           [ & ]( auto const& m ) { return m.second == word; } );
   if ( known == meansWords.end() )
      return false;
   holding.means = known->first;
   holding.reason = 0;
   if ( holding.means == Means::adminDown )
      return colon == std::string::npos;
   if ( colon == std::string::npos )
      return false;
   char const* const end = text.data() + text.size();
   auto const [ rest, error ] = std::from_chars( text.data() + colon + 1, end, holding.reason );
   return error == std::errc() && rest == end && holding.reason <= maxReason;
}

std::string
meansOf( Holding const& holding ) {
   std::string text;
   for ( auto const& [ means, word ] : meansWords )
      if ( means == holding.means )
         text = word;
   if ( holding.means != Means::adminDown )
      text.append( 1, ':' ).append( std::to_string( holding.reason ) );
   return text;
}

// False for what is no line of ours.
bool
readLine( std::string const& line, Holding& holding ) {
   std::istringstream in( line );
   std::string word;
   std::string means;
   std::string name;
   in >> word >> holding.index >> means >> std::hex >> holding.address >> name;
   holding.name = InterfaceName( name );
   holding.isOverridden = word == overriddenWord;
   return in && ( word == heldWord || holding.isOverridden ) && holding.index != 0 &&
          InterfaceName::objection( name ).empty() && readMeans( means, holding );
}

void
append( std::string& text, Holding const& holding ) {
   std::array< char, 80 > line{};
   int const size = std::snprintf(
       line.data(), line.size(), "%s %u %s %012llx %s\n",
       holding.isOverridden ? overriddenWord : heldWord, holding.index, meansOf( holding ).c_str(),
       static_cast< unsigned long long >( holding.address ), holding.name.view().data() );
   text.append( line.data(), static_cast< std::size_t >( size ) );
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
   std::string text = File( directoryFd_, fileName, O_RDONLY ).read();
   // Whoever wrote the rest was ended meanwhile.
   text.erase( text.rfind( '\n' ) + 1 );
   if ( !text.starts_with( epoch_ ) )
      return holdings;
   std::istringstream lines( text.substr( epoch_.size() ) );
   Holding holding;
   for ( std::string line; std::getline( lines, line ); )
      if ( readLine( line, holding ) )
         holdings.push_back( holding );
   return holdings;
}

int
OwnershipFile::remember( std::span< Holding const > holdings ) {
   if ( directoryFd_ < 0 )
      return error_;
   std::string text = epoch_;
   for ( Holding const& holding : holdings )
      append( text, holding );
   if ( write( text ) )
      return 0;
   int const error = errno;
   // Works on a full disk, too.
   return holdings.empty() && ( unlinkat( directoryFd_, fileName, 0 ) == 0 || errno == ENOENT )
              ? 0
              : error;
}

bool
OwnershipFile::write( std::string const& text ) {
   struct stat file {};
   bool const isThere = fd_ >= 0 && fstat( fd_, &file ) == 0 && file.st_nlink > 0;
   bool const isDone = isThere && text.starts_with( text_ )
                           ? extend( std::string_view( text ).substr( text_.size() ) )
                       : isThere && text == epoch_ ? cut( text.size() )
                                                   : replace( text );
   if ( isDone )
      text_ = text;
   return isDone;
}

bool
OwnershipFile::extend( std::string_view lines ) {
   if ( writeAll( fd_, lines ) )
      return true;
   int const error = errno;
   // What can't be taken back is replaced.
   if ( !cut( text_.size() ) )
      close( std::exchange( fd_, -1 ) );
   errno = error;
   return false;
}

bool
OwnershipFile::cut( std::size_t size ) const {
   return ftruncate( fd_, static_cast< off_t >( size ) ) == 0 && fsync( fd_ ) == 0;
}

bool
OwnershipFile::replace( std::string_view text ) {
   File file( directoryFd_, newFileName, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_DSYNC );
   if ( file.isOpen() && writeAll( file.fd(), text ) &&
        renameat( directoryFd_, newFileName, directoryFd_, fileName ) == 0 &&
        fsync( directoryFd_ ) == 0 ) {
      if ( fd_ >= 0 )
         close( fd_ );
      fd_ = file.release();
      return true;
   }
   int const error = errno;
   unlinkat( directoryFd_, newFileName, 0 );
   errno = error;
   return false;
}

} // namespace Ufdd
