#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace Ufdd {

// Returns the word that `typed` is probably a misspelling of: the one with the fewest letters to
// change, add or remove. Returns nothing if these are half of the letters typed or more.
std::optional< std::string_view > nearestWord( std::string_view typed,
                                               std::span< std::string_view const > words );

} // namespace Ufdd
