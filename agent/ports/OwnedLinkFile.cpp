#include "agent/ports/OwnedLinkFile.h"

#include "agent/ports/OwnedLinkLine.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr char const* fileName = "held";

// Returns the complete lines of a file. A writer that was killed may have left half a line.
std::string
read( Descriptor const& file ) {
   std::string text = textOf( file );
   text.erase( text.rfind( '\n' ) + 1 );
   return text;
}

// Returns true if the file is open and nobody has removed it.
bool
isThere( Descriptor const& file ) {
   struct stat status {};
   return file && fstat( file.fd(), &status ) == 0 && status.st_nlink > 0;
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

OwnedLinkFile::OwnedLinkFile( StateDirectory& directory )
    : directory_( directory ), epoch_( directory.epoch() ) {}

OwnedLinkFile::~OwnedLinkFile() {
   if ( file_ && text_ == epoch_ )
      directory_.remove( fileName );
}

std::vector< OwnedLink >
OwnedLinkFile::recall() {
   std::vector< OwnedLink > links;
   std::string const text = read( directory_.open( fileName, O_RDONLY ) );
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
   if ( isAnothers_ )
      return false;
   Descriptor file = directory_.open( fileName, O_RDWR | O_DSYNC );
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
   int const error = writeText( file_, lines, text_.size() );
   if ( !error )
      text_ += lines;
   // If not all lines were written, removes those that were.
   else if ( cut( text_.size() ) )
      file_ = Descriptor();
   return error;
}

int
OwnedLinkFile::strikeOut( std::size_t place ) {
   int const error = writeText( file_, struckOut, place );
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
   bool const wasThere = directory_.isThere();
   if ( int const error = directory_.renew() )
      return error;
   // If another ufdd's record were replaced, that ufdd's ports would stay shut.
   isAnothers_ = ( isAnothers_ || !wasThere ) && directory_.has( fileName );
   if ( isAnothers_ )
      return EEXIST;
   int const error = directory_.replace( fileName, text, file_ );
   if ( !error )
      text_ = text;
   return error;
}

} // namespace Ufdd
