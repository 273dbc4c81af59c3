#include "platform/zet/attrlog/Errors.h"

namespace Zet {

InternalException::~InternalException() = default;
ReadOnlyException::~ReadOnlyException() = default;
NboAttrLog::MalformedException::~MalformedException() = default;

void
throwInternalException( String8 text ) {
   throw InternalException( std::move( text ) );
}

void
throwReadOnlyException( String8 text ) {
   throw ReadOnlyException( std::move( text ) );
}

} // namespace Zet
