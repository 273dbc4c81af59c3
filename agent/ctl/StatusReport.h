#pragma once

#include "agent/base/WallTime.h"
#include "model/Status.h"

#include <string>
#include <vector>

namespace Ufdd {

// The colours that the output may have.
enum class Colours { none, terminal };

// Returns the escape sequence that begins the colour of a link status on a terminal.
std::string_view colourOf( UplinkFailureDetection::GroupLinkStatus status );

// Returns all groups in the order of their names, or only the one of the name `wanted`.
// Throws: std::runtime_error, which names the nearest group, when there is no such group.
std::vector< Zet::Ptr< UplinkFailureDetection::GroupStatus const > >
groupsShown( UplinkFailureDetection::Status const& status, std::string const& wanted );

// Returns the groups' status at the moment `now` as a table for people:
//
//    GROUP  STATUS  TIMES DISABLED  LAST DISABLED
//    rack1  down    3               2026-03-01 12:30:00.123, 12 s ago
std::string statusTable( UplinkFailureDetection::Status const& status, std::string const& wanted,
                         Moment const& now, Colours colours );
// Returns the same as JSON for programs.
std::string statusJson( UplinkFailureDetection::Status const& status, std::string const& wanted,
                        Moment const& now );

} // namespace Ufdd
