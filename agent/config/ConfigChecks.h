#pragma once

#include "agent/config/CheckSettings.h"
#include "agent/config/Findings.h"
#include "agent/config/GroupSettings.h"
#include "agent/config/SystemView.h"

#include <vector>

namespace Ufdd {

// Checks how many uplinks and ports a group has. Adds errors, warnings and notes to `findings`.
// Requires: the group was read from a file without an error.
void checkCounts( GroupSettings const& group, Findings& findings );

// Refuses switches of a group that contradict each other, and warns of those without effect.
void checkSwitches( GroupSettings const& group, Findings& findings );

// Checks the names in each group, the groups against each other, and all against the interfaces of
// `system`. Adds errors and warnings to `findings`.
// Requires: the groups were read from a file, so that their places are known.
void checkGroups( SystemView const& system, std::vector< GroupSettings > const& groups,
                  Findings& findings );

// Refuses a port that is one of the interfaces named in `protect`, belongs to the same LAG, or has
// one of them run on it.
void checkProtected( SystemView const& system, NamePlaces const& protect,
                     std::vector< GroupSettings > const& groups, Findings& findings );

// Notes each name that no interface of `system` has: the interface may come later. Warns if the
// name may be a mistyped one.
void noteAbsent( SystemView const& system, std::vector< GroupSettings > const& groups,
                 Findings& findings );

// Warns of uplinks of checks that no group monitors.
void checkUplinksOfChecks( std::vector< GroupSettings > const& groups,
                           std::vector< CheckSettings > const& checks, Findings& findings );

} // namespace Ufdd
