#pragma once

#include "agent/config/Findings.h"
#include "agent/config/GroupSettings.h"
#include "agent/config/SystemView.h"

#include <vector>

namespace Ufdd {

// Checks each group by itself, the groups against each other, and all against the interfaces of
// `system`. Adds errors and warnings to `findings`.
// Requires: the groups were read from a file, so that their places are known.
void checkGroups( SystemView const& system, std::vector< GroupSettings > const& groups,
                  Findings& findings );

// Notes each name that no interface of `system` has: the interface may come later, or the name may
// be mistyped.
void noteAbsent( SystemView const& system, std::vector< GroupSettings > const& groups,
                 Findings& findings );

} // namespace Ufdd
