#pragma once

#include "agent/config/Findings.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace Ufdd {

// Returns the first place where more than `most` brackets, braces and dots of keys enclose the
// text, or nothing. The TOML library recurses once for each, and would use up the stack. Strings
// and comments don't count. A value's own dot counts, so that no grammar is needed here.
// Each table and list that the library makes of a text without such a place is at most 2 * most + 1
// deep: a header, such as [a.b], adds its depth to that of the lines below it.
std::optional< Place > findTooDeep( std::string_view text, std::size_t most );

} // namespace Ufdd
