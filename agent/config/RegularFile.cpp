#include "agent/config/RegularFile.h"

#include "agent/base/Descriptor.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Ufdd {

namespace {

char const*
typeName( mode_t mode ) {
   switch ( mode & S_IFMT ) {
   case S_IFDIR:
      return "a directory";
   case S_IFIFO:
      return "a named pipe";
   case S_IFSOCK:
      return "a socket";
   default:
      return "a device";
   }
}

} // namespace

std::string
readRegularFile( std::string const& path, std::size_t mostBytes ) {
   // Opening a named pipe would wait for a writer.
   Descriptor const file( open( path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY ) );
   struct stat status {};
   if ( !file || fstat( file.fd(), &status ) != 0 )
      throw std::runtime_error( std::strerror( errno ) );
   if ( !S_ISREG( status.st_mode ) )
      throw std::runtime_error( std::string( "it is " ) + typeName( status.st_mode ) +
                                "; give the path of a regular file" );
   std::string text;
   std::array< char, 65536 > part;
   // The size in `status` may be outdated, and is 0 for files of the kernel.
   while ( ssize_t const size = read( file.fd(), part.data(), part.size() ) ) {
      if ( size < 0 && errno == EINTR )
         continue;
      if ( size < 0 )
         throw std::runtime_error( std::strerror( errno ) );
      text.append( part.data(), static_cast< std::size_t >( size ) );
      if ( text.size() > mostBytes )
         throw std::runtime_error( "it is larger than " + std::to_string( mostBytes >> 10 ) +
                                   " KiB; see whether it is the right file" );
   }
   return text;
}

} // namespace Ufdd
