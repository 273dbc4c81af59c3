#include "agent/ports/OwnedLinkFile.h"

#include "agent/ports/OwnedLinkLine.h"

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

Descriptor
openIn( int directory, char const* name, int flags ) {
   return Descriptor( openat( directory, name, flags | O_CLOEXEC, fileMode ) );
}

// Returns the complete lines of a file. A writer that was killed may have left half a line.
std::string
read( Descriptor const& file ) {
   std::string text;
   std::array< char, 4096 > part;
   for ( ssize_t size = 0; ( size = ::read( file.fd(), part.data(), part.size() ) ) > 0; )
      text.append( part.data(), static_cast< std::size_t >( size ) );
   text.erase( text.rfind( '\n' ) + 1 );
   return text;
}

// Returns true if the file is open and nobody has removed it.
bool
isThere( Descriptor const& file ) {
   struct stat status {};
   return file && fstat( file.fd(), &status ) == 0 && status.st_nlink > 0;
}

// Returns an errno value, as all functions below do that return an int.
int
writeAll( Descriptor const& file, std::string_view text, std::size_t at ) {
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

using Lines = std::vector< std::string_view >;

// Returns the lines, each with its line break.
Lines
linesOf( std::string_view text ) {
   Lines lines;
   for ( std::size_t end = 0; ( end = text.find( '\n' ) ) != std::string_view::npos; ) {
      lines.push_back( text.substr( 0, end + 1 ) );
      text.remove_prefix( end + 1 );
   }
   return lines;
}

// Returns the lines that are not among the others.
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
   std::string boot = read( openIn( AT_FDCWD, "/proc/sys/kernel/random/boot_id", O_RDONLY ) );
   if ( boot.empty() )
      boot = "unknown\n";
   struct stat netns {};
   stat( "/proc/thread-self/ns/net", &netns );
   return "boot " + boot + "netns " + std::to_string( netns.st_ino ) + '\n';
}

// Overwrites the first letters of a line that is no longer valid.
constexpr std::string_view struckOut = "gone";
// The number of bytes of invalid lines above which the file is replaced.
constexpr std::size_t maxStruckOut = 4096;

// Returns the index in a line: "7".
std::string_view
indexOf( std::string_view line ) {
   line.remove_prefix( line.find( ' ' ) + 1 );
   return line.substr( 0, line.find( ' ' ) );
}

} // namespace

OwnedLinkFile::OwnedLinkFile( std::string path ) : path_( std::move( path ) ), epoch_( epoch() ) {
   if ( openDirectory( directory_ ) == EWOULDBLOCK )
      throw std::system_error( EWOULDBLOCK, std::generic_category(),
                               "another ufdd is running and has " + path_ +
                                   "; stop it, or give this one a --state-dir of its own" );
}

OwnedLinkFile::~OwnedLinkFile() {
   if ( file_ && text_ == epoch_ )
      unlinkat( directory_.fd(), fileName, 0 );
}

int
OwnedLinkFile::openDirectory( Descriptor& opened ) const {
   if ( mkdir( path_.c_str(), directoryMode ) != 0 && errno != EEXIST )
      return errno;
   Descriptor directory = openIn( AT_FDCWD, path_.c_str(), O_RDONLY | O_DIRECTORY );
   if ( !directory || flock( directory.fd(), LOCK_EX | LOCK_NB ) != 0 )
      return errno;
   opened = std::move( directory );
   return 0;
}

int
OwnedLinkFile::openDirectoryAgain() {
   Descriptor directory;
   if ( int const error = openDirectory( directory ) )
      return error;
   // This file is another ufdd's record. If it were replaced, that ufdd's ports would stay shut.
   if ( faccessat( directory.fd(), fileName, F_OK, 0 ) == 0 )
      return EEXIST;
   directory_ = std::move( directory );
   return 0;
}

std::vector< OwnedLink >
OwnedLinkFile::recall() {
   std::vector< OwnedLink > links;
   std::string const text = read( openIn( directory_.fd(), fileName, O_RDONLY ) );
   if ( !text.starts_with( epoch_ ) )
      return links;
   for ( std::string_view const line : linesOf( text ) )
      if ( auto const owned = readOwnedLink( std::string( line ) ) )
         links.push_back( *owned );
   return links;
}

void
OwnedLinkFile::add( std::span< OwnedLink const > links ) {
   std::string lines;
   for ( OwnedLink const& owned : links )
      lines += lineOf( owned );
   if ( isThere( file_ ) )
      extend( lines );
   else if ( file_ )
      replace( text_ + lines );
}

int
OwnedLinkFile::remember( std::span< OwnedLink const > links ) {
   std::string text = epoch_;
   for ( OwnedLink const& owned : links )
      text += lineOf( owned );
   bool const isTidy = isThere( file_ ) && text_.size() <= text.size() + maxStruckOut;
   int const error = isTidy ? amend( text ) : replace( text );
   // On a full disk no new file can be written, but the present file can be changed.
   return error && !isTidy && openFormer() ? amend( text ) : error;
}

bool
OwnedLinkFile::openFormer() {
   if ( isThere( file_ ) )
      return true;
   Descriptor file = openIn( directory_.fd(), fileName, O_RDWR | O_DSYNC );
   std::string text = read( file );
   if ( !text.starts_with( epoch_ ) )
      return false;
   file_ = std::move( file );
   text_ = std::move( text );
   return true;
}

// Adds lines before it strikes others out, since this process may be killed at any point.
int
OwnedLinkFile::amend( std::string const& wanted ) {
   if ( wanted == epoch_ )
      return cut( wanted.size() );
   std::string const former = text_;
   Lines const before = linesOf( former );
   Lines const after = linesOf( wanted );
   std::string added;
   for ( std::string_view const line : difference( after, before ) )
      added += line;
   int error = extend( added );
   // If there is no room for a link's new line, keeps the old one.
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
OwnedLinkFile::extend( std::string_view lines ) {
   int const error = writeAll( file_, lines, text_.size() );
   if ( !error )
      text_ += lines;
   // If not all lines were written, removes those that were.
   else if ( cut( text_.size() ) )
      file_ = Descriptor();
   return error;
}

int
OwnedLinkFile::strikeOut( std::size_t place ) {
   int const error = writeAll( file_, struckOut, place );
   if ( !error )
      text_.replace( place, struckOut.size(), struckOut );
   return error;
}

int
OwnedLinkFile::cut( std::size_t size ) {
   if ( ftruncate( file_.fd(), static_cast< off_t >( size ) ) != 0 )
      return errno;
   text_.resize( size );
   return fsync( file_.fd() ) == 0 ? 0 : errno;
}

int
OwnedLinkFile::replace( std::string const& text ) {
   if ( !isThere( directory_ ) )
      if ( int const error = openDirectoryAgain() )
         return error;
   Descriptor file = openIn( directory_.fd(), newFileName, O_WRONLY | O_CREAT | O_TRUNC | O_DSYNC );
   int error = file ? writeAll( file, text, 0 ) : errno;
   if ( !error && ( renameat( directory_.fd(), newFileName, directory_.fd(), fileName ) != 0 ||
                    fsync( directory_.fd() ) != 0 ) )
      error = errno;
   if ( error ) {
      unlinkat( directory_.fd(), newFileName, 0 );
      return error;
   }
   file_ = std::move( file );
   text_ = text;
   return 0;
}

} // namespace Ufdd
