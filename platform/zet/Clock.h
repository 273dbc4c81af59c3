#pragma once

#include "platform/zet/Export.h"

namespace Zet {

// Returns the seconds on a clock that never steps. The system chooses its zero (on Linux, the start
// of the machine).
ZET_EXPORT double now();

// Replaces the clock behind now(), for tests and simulations. Null restores the system's clock.
ZET_EXPORT void clockIs( double ( *clock )() );

} // namespace Zet
