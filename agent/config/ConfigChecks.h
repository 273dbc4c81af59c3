#pragma once

#include "agent/config/Findings.h"
#include "agent/config/GroupSettings.h"
#include "agent/config/SystemView.h"

#include <vector>

namespace Ufdd {

// Finds what each group or the groups among each other can't mean, and what does not go with the
// machine's interfaces, as far as these are known. Requires: the groups were read from a file, so
// that it is known where everything stands.
void checkGroups( SystemView const& system, std::vector< GroupSettings > const& groups,
                  Findings& findings );

// Notes each name that no interface of the machine has: it may come, or be mistyped.
void noteAbsent( SystemView const& system, std::vector< GroupSettings > const& groups,
                 Findings& findings );

} // namespace Ufdd
