#include "adapters/reflect/Operations.h"

namespace Reflect {

void
throwNotSupported( std::string_view attribute, unsigned int operation ) {
   Zet::throwGenericIfException( Zet::GenericIfException::opNotSupported, attribute, operation );
}

void
throwBadIndex( std::string_view attribute ) {
   Zet::throwGenericIfException( Zet::GenericIfException::badIndex, attribute );
}

} // namespace Reflect
