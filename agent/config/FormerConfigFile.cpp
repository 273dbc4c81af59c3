#include "agent/config/FormerConfigFile.h"

#include <cerrno>
#include <cmath>
#include <cstdio>

namespace Ufdd {

FormerConfigFile::Recollection
FormerConfigFile::recall() const {
   StateFile::Content const content = file_.read();
   if ( content.kind == StateFile::Content::unreadable )
      return { .config = {}, .problem = content.problem };
   if ( content.kind != StateFile::Content::current )
      return {};
   FormerConfig config;
   std::size_t size = 0;
   int begin = 0;
   int const count = std::sscanf( content.lines.c_str(), "read %lf\ndeadline %lf\nsize %zu%n",
                                  &config.readTime, &config.deadline, &size, &begin );
   auto const at = static_cast< std::size_t >( begin ) + 1; // Behind the line break.
   // A line break follows the text: whatever is behind the last one was not written completely.
   bool const isWhole = count == 3 && std::isfinite( config.deadline ) &&
                        size < StateDirectory::maxFileSize && content.lines.size() == at + size + 1;
   if ( !isWhole )
      return { .config = {}, .problem = "is not as ufdd wrote it" };
   config.text = content.lines.substr( at, size );
   return { .config = std::move( config ) };
}

int
FormerConfigFile::remember( FormerConfig const& config ) {
   char head[ 128 ];
   std::snprintf( head, sizeof head, "read %.3f\ndeadline %.3f\nsize %zu\n", config.readTime,
                  config.deadline, config.text.size() );
   std::string const lines = head + config.text + '\n';
   // It could not be read again.
   if ( file_.heading().size() + lines.size() > StateDirectory::maxFileSize )
      return EFBIG;
   return file_.replace( lines );
}

bool
FormerConfigFile::forget() {
   directory_.remove( fileName );
   return !directory_.has( fileName );
}

} // namespace Ufdd
