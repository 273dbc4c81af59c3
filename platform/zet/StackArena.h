#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Takes memory that is given back in the reverse order of taking. The snapshots of dispatches use
// it; dispatches nest. The memory comes from one block that is always there, and from the heap only
// when the block is full.
ZET_EXPORT void* stackArenaNew( std::size_t bytes );
ZET_EXPORT void stackArenaDelete( void* memory ) noexcept;

} // namespace Zet
