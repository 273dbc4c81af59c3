#pragma once

#include "platform/zet/Export.h"

namespace Zet {

// Writes the broken promise to standard error and ends the process.
[[noreturn]] ZET_EXPORT void assertionFailed( char const* promise ) noexcept;

// Checks a promise of our own code, in every build. Never used on anything that comes from outside.
inline void
require( bool kept, char const* promise ) noexcept {
   if ( !kept ) [[unlikely]]
      assertionFailed( promise );
}

} // namespace Zet
