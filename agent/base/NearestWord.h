#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace Ufdd {

// The word that `typed` probably stands for: the one with the fewest letters to change, add
// or leave out, if they are fewer than half of the letters typed.
std::optional< std::string_view > nearestWord( std::string_view typed,
                                               std::span< std::string_view const > words );

} // namespace Ufdd
