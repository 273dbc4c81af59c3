#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Memory for what is given back in the reverse order of taking: the snapshots of dispatches, which
// nest. It comes from one block that is always there, and from the heap only past its end.
ZET_EXPORT void* stackArenaNew( std::size_t bytes );
ZET_EXPORT void stackArenaDelete( void* memory ) noexcept;

} // namespace Zet
