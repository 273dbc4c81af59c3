#pragma once

#include <limits>

namespace Ufdd {

// The time, by Zet::now(), of what does not happen.
inline constexpr double never = std::numeric_limits< double >::infinity();

} // namespace Ufdd
