#pragma once

#include "platform/zet/Export.h"

#include <utility>

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
   friend class ExpectAny;
   union Immortal;

   static Expect const* innermost_;
   static Immortal const any_;

   constexpr Expect() noexcept : exceptionId_( 0 ), outer_( nullptr ) {}

   unsigned int exceptionId_;
   Expect const* outer_;
};

// Its destructor would end a scope that never began.
union ZET_EXPORT Expect::Immortal {
   constexpr Immortal() noexcept : expect() {}
   ~Immortal() {}

   Expect expect;
};

// A scope that expects any exception, at the cost of a register: nothing points into its frame, so
// that the compiler needs no guard there.
class ExpectAny {
 public:
   ExpectAny() noexcept : outer_( std::exchange( Expect::innermost_, &Expect::any_.expect ) ) {}
   ExpectAny( ExpectAny const& ) = delete;
   ExpectAny& operator=( ExpectAny const& ) = delete;
   ~ExpectAny() { Expect::innermost_ = outer_; }

 private:
   Expect const* const outer_;
};

} // namespace Zet
