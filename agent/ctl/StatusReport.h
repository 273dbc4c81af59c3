#pragma once

#include "agent/base/WallTime.h"
#include "model/Status.h"

#include <string>
#include <vector>

namespace Ufdd {

// Whether text may be coloured.
enum class Colours { none, terminal };

// How a link status is coloured on a terminal.
std::string_view colourOf( UplinkFailureDetection::GroupLinkStatus status );

// The groups in the order of their names, or that one alone.
// Throws: std::runtime_error, which names the nearest, when there is no such group.
std::vector< Zet::Ptr< UplinkFailureDetection::GroupStatus const > >
groupsShown( UplinkFailureDetection::Status const& status, std::string const& wanted );

// A table for people, as things are at that moment:
//
//    GROUP  STATUS  TIMES DISABLED  LAST DISABLED
//    rack1  down    3               2026-03-01 12:30:00.123, 12 s ago
std::string statusTable( UplinkFailureDetection::Status const& status, std::string const& wanted,
                         Moment const& now, Colours colours );
// The same for programs, as JSON.
std::string statusJson( UplinkFailureDetection::Status const& status, std::string const& wanted,
                        Moment const& now );

} // namespace Ufdd
