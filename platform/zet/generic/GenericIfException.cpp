#include "platform/zet/generic/GenericIfException.h"

namespace Zet {

GenericIfException::~GenericIfException() = default;

void
throwGenericIfException( GenericIfException::Kind kind, String8 text, unsigned int operation ) {
   throw GenericIfException( kind, std::move( text ), operation );
}

void
throwWrongType( std::string_view argument ) {
   throwGenericIfException( GenericIfException::type, argument );
}

} // namespace Zet
