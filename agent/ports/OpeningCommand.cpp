#include "agent/ports/OpeningCommand.h"

namespace Ufdd {

std::string
openingCommand( std::string_view name, LinkRequest::Means means, unsigned int reason ) {
   std::string const set = "ip link set dev " + std::string( name );
   if ( means == LinkRequest::Means::adminDown )
      return set + " up";
   // If others had set protodown before us, only our reason is cleared.
   return set + " protodown_reason " + std::to_string( reason ) + " off" +
          ( means == LinkRequest::Means::protoDown ? " && " + set + " protodown off" : "" );
}

} // namespace Ufdd
