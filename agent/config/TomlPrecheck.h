#pragma once

#include "agent/config/Findings.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Ufdd {

struct TomlObjection {
   Place place;
   std::string text;
};

// The depth of brackets, braces and dots of keys up to which a text may go. A real configuration
// has 3 at most.
constexpr std::size_t maxTomlDepth = 16;

// Returns why the TOML library must not get that text, or nothing. It would crash:
// - It recurses once for each bracket, brace and dot of a key that encloses a value, which uses up
// the
//   stack. What it makes of an accepted text is at most 2 * maxTomlDepth + 1 deep: a header such as
//   [a.b] adds its depth to that of the lines below it.
// - Letters beyond ASCII lead it to code that it takes for unreachable, outside of strings and
// comments
//   and behind a backslash in a string of several lines. It takes a quote within a word for no
//   begin of a string.
// Control characters are refused as well. But for some strings of several lines, no such text is
// valid.
std::optional< TomlObjection > objectionToToml( std::string_view text );

} // namespace Ufdd
