#pragma once

#include "agent/status/StatusRoots.h"

#include <string>

namespace Ufdd {

// Returns what ufdd does as metrics, in Prometheus' text format 0.0.4. The order is stable: two
// texts differ only where a value does. The table in MetricsText.cpp has a row for each family.
std::string metricsText( StatusRoots const& roots );
// Returns what is known while ufdd can't be reached: "ufdd_up 0".
std::string metricsTextWithoutUfdd();

} // namespace Ufdd
