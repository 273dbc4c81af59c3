#include "agent/ports/OwnedLinkFile.h"

#include "agent/ports/OwnedLinkLine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Ufdd {

namespace {

constexpr char const* fileName = "held";
constexpr unsigned int version = 2;
// Begins a line that is no longer valid; in version 1, "gone".
constexpr char struckOut = '#';
constexpr std::string_view formerStruckOut = "gone";
// The number of bytes of invalid lines above which the file is replaced.
constexpr std::size_t maxStruckOut = 4096;
// In bytes: for a batch of a thousand links. On a small disk it may be less, down to a page.
constexpr std::size_t room = 1 << 16;
constexpr std::size_t page = 4096;

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

// Returns the index in a line: "7".
std::string_view
indexOf( std::string_view line ) {
   line.remove_prefix( line.find( ' ' ) + 1 );
   return line.substr( 0, line.find( ' ' ) );
}

} // namespace

OwnedLinkFile::OwnedLinkFile( StateDirectory& directory )
    : directory_( directory ), format_( directory, fileName, version ) {}

OwnedLinkFile::~OwnedLinkFile() {
   if ( !isLost() && isEmpty() )
      directory_.remove( fileName );
}

bool
OwnedLinkFile::isEmpty() const {
   Lines const lines = linesOf( std::string_view( text_ ).substr( format_.heading().size() ) );
   return std::all_of( lines.begin(), lines.end(),
                       []( std::string_view line ) { return line.front() == struckOut; } );
}

bool
OwnedLinkFile::isOpen() const {
   struct stat status {};
   return file_ && !isLost_ && fstat( file_.fd(), &status ) == 0 && status.st_nlink > 0;
}

bool
OwnedLinkFile::isLost() {
   isLost_ = !file_ || !directory_.isThere() || !directory_.isAt( fileName, file_ );
   return isLost_;
}

std::string
OwnedLinkFile::read( StateFile::Content const& content, std::vector< OwnedLink >& links ) {
   std::string unread;
   for ( std::string_view const line : linesOf( content.lines ) )
      if ( auto const owned = readOwnedLink( std::string( line ) ) )
         links.push_back( *owned );
      else if ( content.version == 1 ? !line.starts_with( formerStruckOut )
                                     : line.front() != struckOut )
         unread += line;
   return unread;
}

std::vector< OwnedLink >
OwnedLinkFile::recall() {
   using Content = StateFile::Content;
   std::vector< OwnedLink > links;
   for ( int number = 1; number <= StateDirectory::maxAside; ++number ) {
      std::string const name = StateDirectory::asideName( fileName, number );
      Content const former = format_.read( name );
      if ( former.kind == Content::unreadable || former.kind == Content::current )
         unread_.push_back(
             { directory_.path() + '/' + name, former.problem, former.lines, false } );
   }
   Content const content = format_.read();
   if ( content.kind == Content::unreadable )
      keepAside( content.problem, content.lines );
   if ( content.kind != Content::current )
      return links;
   std::string const unread = read( content, links );
   if ( unread.empty() )
      return links;
   keepAside( "has " + std::to_string( linesOf( unread ).size() ) + " lines that can't be read",
              unread );
   // Until remember() is called, the readable links are in no other record.
   remember( links );
   return links;
}

void
OwnedLinkFile::keepAside( std::string const& problem, std::string const& text ) {
   std::string const aside = directory_.keepAside( fileName );
   isLeftAlone_ = aside.empty();
   unread_.push_back( { isLeftAlone_ ? place() : directory_.path() + '/' + aside, problem, text } );
}

std::string
OwnedLinkFile::explain( int error ) const {
   if ( !directory_.objection().empty() )
      return directory_.objection();
   std::string const what = std::strerror( error );
   switch ( error ) {
   case ENOSPC:
      return what + "; make room there";
   case EEXIST:
      return "there is a file that can't be read; move it away";
   default:
      return what + "; make the place writable for ufdd";
   }
}

void
OwnedLinkFile::add( std::span< OwnedLink const > links ) {
   std::string lines;
   for ( OwnedLink const& owned : links )
      lines += lineOf( owned );
   if ( isOpen() )
      extend( lines );
   else if ( file_ )
      replace( text_ + lines );
}

int
OwnedLinkFile::remember( std::span< OwnedLink const > links ) {
   std::string text = format_.heading();
   for ( OwnedLink const& owned : links )
      text += lineOf( owned );
   bool const isTidy = isOpen() && text_.size() <= text.size() + maxStruckOut;
   int error = isTidy ? amend( text ) : replace( text );
   // On a full disk no new file can be written, but the present file can be changed.
   if ( error && !isTidy && openFormer() ) {
      error = amend( text );
      if ( isEmpty() )
         error = cut( format_.heading().size() );
   }
   reserve();
   return error;
}

bool
OwnedLinkFile::openFormer() {
   if ( isOpen() )
      return true;
   Descriptor file = directory_.open( fileName, O_RDWR | O_DSYNC );
   std::string text = textOf( file );
   text.erase( text.rfind( '\n' ) + 1 );
   if ( isLeftAlone_ || !text.starts_with( format_.heading() ) )
      return false;
   file_ = std::move( file );
   text_ = std::move( text );
   reserved_ = 0;
   isLost_ = false;
   return true;
}

void
OwnedLinkFile::reserve() {
   if ( !file_ || reserved_ > text_.size() + room / 2 )
      return;
   std::size_t const needed = ( text_.size() + page - 1 ) / page * page;
   for ( std::size_t more = room; more >= page; more /= 2 )
      if ( fallocate( file_.fd(), FALLOC_FL_KEEP_SIZE, 0, static_cast< off_t >( needed + more ) ) ==
           0 ) {
         reserved_ = needed + more;
         return;
      }
}

// Adds lines before it strikes others out, since this process may be killed at any point.
int
OwnedLinkFile::amend( std::string const& wanted ) {
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
   std::vector< std::size_t > outdated;
   for ( std::string_view const line : difference( before, after ) )
      if ( line.front() != struckOut && !isNeeded( line ) )
         outdated.push_back( static_cast< std::size_t >( line.data() - former.data() ) );
   if ( int const failure = strikeOut( outdated ) )
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

// Strikes lines out with one write: each byte of it is either the former or "#".
int
OwnedLinkFile::strikeOut( std::span< std::size_t const > places ) {
   if ( places.empty() )
      return 0;
   std::string text = text_;
   for ( std::size_t const place : places )
      text[ place ] = struckOut;
   // Lines keep their order in difference().
   std::size_t const size = places.back() + 1 - places.front();
   int const error = writeText( file_, { text.data() + places.front(), size }, places.front() );
   if ( !error )
      text_ = std::move( text );
   return error;
}

// The kernel frees the reserved room as well.
int
OwnedLinkFile::cut( std::size_t size ) {
   reserved_ = 0;
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
   isLeftAlone_ = isLeftAlone_ && directory_.has( fileName );
   // If another ufdd's record were replaced, that ufdd's ports would stay shut.
   if ( !wasThere && directory_.has( fileName ) )
      keepAside( "was written by another ufdd", format_.read().lines );
   if ( isLeftAlone_ )
      return EEXIST;
   int const error = directory_.replace( fileName, text, file_ );
   if ( !error ) {
      text_ = text;
      reserved_ = 0;
      isLost_ = false;
   }
   return error;
}

} // namespace Ufdd
