#pragma once

#include "agent/detect/Detector.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// How the log puts the state of groups.

struct GroupsText {
   std::vector< std::string_view > names; // Valid until: the configuration changes.
   // "group a is down, 0/2 up, min_links 1, dry_run", for each, with "; " between them.
   std::string text;
};
enum class Named { all, shutting };
// The groups of that status that list `port`, or only those that shut it.
GroupsText groupsText( Detector const& detector, Kelnet::IntfId port,
                       UplinkFailureDetection::GroupLinkStatus linkStatus,
                       Named named = Named::all );

// "group a is down, 0/2 up, min_links 1, dry_run", for a group of that status.
std::string groupText( Detector const& detector, UplinkFailureDetection::GroupConfig const& group,
                       UplinkFailureDetection::GroupLinkStatus linkStatus );

// "1/2 up, min_links 1", and "1/4 up, min_links 2, recover_links 3" for a group that has these.
std::string countText( Detector const& detector, UplinkFailureDetection::GroupConfig const& group,
                       unsigned int up );

} // namespace Ufdd
