#pragma once

#include "platform/zet/Export.h"

namespace Zet {

// A scope that expects an exception: the exception will be caught and reported, not lost. Id 0
// stands for any exception. Scopes nest.
class ZET_EXPORT Expect {
 public:
   explicit Expect( unsigned int exceptionId ) noexcept
       : exceptionId_( exceptionId ), outer_( innermost_ ) {
      innermost_ = this;
   }
   Expect( Expect const& ) = delete;
   Expect& operator=( Expect const& ) = delete;
   ~Expect() { innermost_ = outer_; }

   // Returns the innermost running scope, or null. Borrows: valid until that scope ends.
   static Expect const* innermost() noexcept { return innermost_; }
   unsigned int exceptionId() const noexcept { return exceptionId_; }

 private:
   static Expect const* innermost_;

   unsigned int exceptionId_;
   Expect const* outer_;
};

} // namespace Zet
