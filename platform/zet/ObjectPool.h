#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Takes memory for an object. Small objects lie side by side with others of their size, without a
// header between them: a large configuration has many. Large ones come from the heap.
//
// Memory that is given back stays with the thread that gives it back, for objects of that size.
// Throws: std::bad_alloc.
[[nodiscard]] ZET_EXPORT void* objectPoolNew( std::size_t bytes );
// Requires: `bytes` is what was asked for.
ZET_EXPORT void objectPoolDelete( void* memory, std::size_t bytes ) noexcept;

} // namespace Zet
