#pragma once

#include "platform/zet/Export.h"

namespace Zet {

// Seconds on a clock that never steps; its zero is the system's affair (on Linux, the start of
// the machine).
ZET_EXPORT double now();

// Replaces the clock behind now(), for tests and simulations; null restores the system's.
ZET_EXPORT void clockIs( double ( *clock )() );

} // namespace Zet
