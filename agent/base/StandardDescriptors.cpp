#include "agent/base/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace Ufdd {

void
fillStandardDescriptors( int flags ) {
   int fd = 0;
   do
      fd = open( "/dev/null", flags );
   while ( fd >= 0 && fd <= STDERR_FILENO );
   close( fd );
}

} // namespace Ufdd
