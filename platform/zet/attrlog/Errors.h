#pragma once

#include "platform/zet/Exception.h"

namespace Zet {

// A call that the runtime's rules forbid.
class ZET_EXPORT InternalException : public Exception {
 public:
   static constexpr unsigned int id = 3;
   explicit InternalException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~InternalException() override;
};

// A change of an entity that may only be read here.
class ZET_EXPORT ReadOnlyException : public Exception {
 public:
   static constexpr unsigned int id = 23;
   explicit ReadOnlyException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~ReadOnlyException() override;
};

namespace NboAttrLog {

// Bytes that are not an attribute log. The text names the field and its offset in the stream.
class ZET_EXPORT MalformedException : public Exception {
 public:
   static constexpr unsigned int id = 31;
   explicit MalformedException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~MalformedException() override;
};

} // namespace NboAttrLog

[[noreturn]] ZET_EXPORT void throwInternalException( String8 text );
[[noreturn]] ZET_EXPORT void throwReadOnlyException( String8 text );

} // namespace Zet
