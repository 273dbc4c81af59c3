#pragma once

#include "agent/config/GroupSettings.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/RouteTable.h"
#include "model/GroupConfig.h"

#include <string>

namespace Ufdd {

// Knows whether the routes exist for which a group waits (release_when). A route counts if it is in
// the main table and leads to a next hop over a link that is up and is no port of the group.
class RouteReadiness {
 public:
   // Borrows: both.
   RouteReadiness( LinkDirectory const& links, RouteTable const& routes )
       : links_( links ), routes_( routes ) {}

   // Returns the conditions without a route: "default-route, 10.0.0.0/8". Empty if there are none.
   std::string missing( UplinkFailureDetection::GroupConfig const& group,
                        GroupPolicy const& policy ) const;

 private:
   bool isMet( UplinkFailureDetection::GroupConfig const& group, Prefix const& to ) const;
   bool leadsOut( UplinkFailureDetection::GroupConfig const& group, RouteHop const& hop ) const;

   LinkDirectory const& links_;
   RouteTable const& routes_;
};

} // namespace Ufdd
