#pragma once

#include "platform/zet/Export.h"
#include "platform/zet/String8.h"

#include <exception>

namespace Zet {

// The base of the runtime's exceptions. what() is exactly the text given.
class ZET_EXPORT Exception : public std::exception {
 public:
   ~Exception() override;
   char const* what() const noexcept override { return text_.c_str(); }
   // Returns the kind of the exception, in the runtime's numbering.
   unsigned int frameworkId() const noexcept { return frameworkId_; }

 protected:
   Exception( unsigned int frameworkId, String8 text )
       : text_( std::move( text ) ), frameworkId_( frameworkId ) {}

 private:
   String8 text_;
   unsigned int frameworkId_;
};

// A value is outside of the allowed range.
class ZET_EXPORT RangeException : public Exception {
 public:
   static constexpr unsigned int id = 12;
   explicit RangeException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~RangeException() override;
};

// An object of that name exists already, and differs.
class ZET_EXPORT NameInUseException : public Exception {
 public:
   static constexpr unsigned int id = 48;
   explicit NameInUseException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~NameInUseException() override;
};

// A text names an object of another type.
class ZET_EXPORT CannotConvertException : public Exception {
 public:
   static constexpr unsigned int id = 13;
   explicit CannotConvertException( String8 text ) : Exception( id, std::move( text ) ) {}
   ~CannotConvertException() override;
};

[[noreturn]] ZET_EXPORT void throwRangeException( String8 text );
[[noreturn]] ZET_EXPORT void throwNameInUseException( String8 text );
// Throws CannotConvertException "cannot convert TEXT to TYPE".
[[noreturn]] ZET_EXPORT void cannotConvert( String8 text, String8 type );

} // namespace Zet
