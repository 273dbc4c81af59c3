#pragma once

#include "platform/zet/Export.h"

namespace Zet {

// Writes the broken promise to standard error and ends the process.
[[noreturn]] ZET_EXPORT void assertionFailed( char const* promise ) noexcept;

// A promise of our own code, checked in every build. Never used on what comes from outside.
inline void
require( bool kept, char const* promise ) noexcept {
   if ( !kept ) [[unlikely]]
      assertionFailed( promise );
}

} // namespace Zet
