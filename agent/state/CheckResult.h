#pragma once

#include "adapters/notify/Enumeration.h"

namespace Ufdd {

// One result of a check.
enum class CheckResult : std::uint32_t {
   none = 0, // There was no result yet.
   pass,
   fail,
   unknown, // It could not be found out.
};

// What the last results of a check make of it.
enum class CheckVerdict : std::uint32_t {
   starting = 0, // There is no verdict yet.
   up,           // Enough passes in a row.
   down,         // Enough fails in a row.
   unknown,      // The last result is unknown.
};

} // namespace Ufdd

template <> struct Notify::Description< Ufdd::CheckResult > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "CheckResult";
   static constexpr std::array< char const*, 4 > enumerators{ "none", "pass", "fail", "unknown" };
};

template <> struct Notify::Description< Ufdd::CheckVerdict > {
   static constexpr std::string_view nameSpace = "Ufdd";
   static constexpr std::string_view name = "CheckVerdict";
   static constexpr std::array< char const*, 4 > enumerators{ "starting", "up", "down", "unknown" };
};
