#pragma once

#include "platform/zet/Export.h"

#include <cstddef>

namespace Zet {

// Memory for small short-lived objects such as value interfaces: cells that are used again, the
// first of them there from the start, so that passing a value allocates nothing.
ZET_EXPORT void* cellNew( std::size_t size );
ZET_EXPORT void cellDelete( void* cell, std::size_t size ) noexcept;

} // namespace Zet
