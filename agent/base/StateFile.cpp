#include "agent/base/StateFile.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <utility>

namespace Ufdd {

namespace {

// Returns the first line with its line break, and takes it off `text`. Returns nothing if there is
// no complete line.
std::string_view
takeLine( std::string_view& text ) {
   std::string_view const line = text.substr( 0, text.find( '\n' ) + 1 );
   text.remove_prefix( line.size() );
   return line;
}

std::string
problemOf( int error ) {
   switch ( error ) {
   case EPERM:
   case ELOOP:
      return "is a link or no regular file, or others own it or can write to it";
   case EFBIG:
      return "is larger than 1 MiB";
   default:
      return "can't be read: " + std::string( std::strerror( error ) );
   }
}

// Returns the number in the line "TITLE NUMBER"; 0 for any other line.
unsigned int
numberIn( std::string_view line, std::string_view title ) {
   unsigned int number = 0;
   if ( !line.starts_with( title ) )
      return 0;
   line.remove_prefix( title.size() );
   auto const [ rest, error ] = std::from_chars( line.data(), line.data() + line.size(), number );
   return error == std::errc() && *rest == '\n' ? number : 0;
}

} // namespace

StateFile::StateFile( StateDirectory& directory, std::string name, unsigned int version )
    : directory_( directory ), name_( std::move( name ) ), version_( version ),
      heading_( "ufdd-" + name_ + ' ' + std::to_string( version ) + '\n' + directory.epoch() ) {}

StateFile::Content
StateFile::read( std::string const& name ) const {
   Descriptor const file = directory_.open( name, O_RDONLY );
   if ( !file && ( errno == ENOENT || errno == EBADF ) )
      return {};
   if ( !file )
      return { .kind = Content::unreadable, .problem = problemOf( errno ) };
   std::string const all = textOf( file );
   std::string_view text( all );
   text = text.substr( 0, text.rfind( '\n' ) + 1 );
   unsigned int version = 1;
   if ( !text.starts_with( "boot " ) ) {
      std::string_view const line = takeLine( text );
      version = numberIn( line, "ufdd-" + name_ + ' ' );
   }
   auto const unreadable = [ & ]( std::string const& problem ) {
      return Content{ .kind = Content::unreadable, .lines = all, .problem = problem };
   };
   if ( version == 0 )
      return unreadable( "does not begin as a file of ufdd's does" );
   std::string_view const boot = takeLine( text );
   std::string_view const netns = takeLine( text );
   if ( !boot.starts_with( "boot " ) || !netns.starts_with( "netns " ) )
      return unreadable( "does not say for which boot and network namespace it holds" );
   bool const isCurrent = std::string( boot ).append( netns ) == directory_.epoch();
   if ( isCurrent && version > version_ )
      return unreadable( "has version " + std::to_string( version ) +
                         ", which this ufdd does not know" );
   return { .kind = isCurrent ? Content::current : Content::former,
            .version = version,
            .lines = std::string( text ) };
}

int
StateFile::replace( std::string_view lines ) {
   int const error = directory_.renew();
   return error ? error : directory_.replace( name_, heading_ + std::string( lines ), file_ );
}

} // namespace Ufdd
