#include "platform/zet/Exception.h"

namespace Zet {

Exception::~Exception() = default;
RangeException::~RangeException() = default;
NameInUseException::~NameInUseException() = default;
CannotConvertException::~CannotConvertException() = default;

void
throwRangeException( String8 text ) {
   throw RangeException( std::move( text ) );
}

void
throwNameInUseException( String8 text ) {
   throw NameInUseException( std::move( text ) );
}

void
cannotConvert( String8 text, String8 type ) {
   throw CannotConvertException( "cannot convert " + text + " to " + type );
}

} // namespace Zet
