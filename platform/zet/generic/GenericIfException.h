#pragma once

#include "platform/zet/Exception.h"

#include <string_view>

namespace Zet {

// A failed operation of a generic interface. The object is unchanged.
class ZET_EXPORT GenericIfException : public Exception {
 public:
   enum Kind : unsigned int {
      constInstance = 60,  // A change was asked of a constant interface.
      opNotSupported = 61, // The attribute does not know the operation.
      badIndex = 62,       // A key was given where there is none.
      type = 63,           // An argument is missing or of another type.
      unknownArgument = 64,
      unknownAttribute = 65,
   };

   GenericIfException( Kind kind, String8 text, unsigned int operation = 0 )
       : Exception( kind, std::move( text ) ), operation_( operation ) {}
   ~GenericIfException() override;

   Kind kind() const noexcept { return static_cast< Kind >( frameworkId() ); }
   // Returns the operation that is not supported; 0 for the other kinds.
   unsigned int operation() const noexcept { return operation_; }

 private:
   unsigned int operation_;
};

[[noreturn]] ZET_EXPORT void throwGenericIfException( GenericIfException::Kind kind, String8 text,
                                                      unsigned int operation = 0 );

// Throws GenericIfException `type` for an argument of the wrong type.
[[noreturn]] ZET_EXPORT void throwWrongType( std::string_view argument );

} // namespace Zet
