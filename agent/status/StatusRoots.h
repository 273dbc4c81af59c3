#pragma once

#include "agent/state/State.h"
#include "model/Config.h"
#include "model/Status.h"

#include <array>
#include <string_view>

namespace Ufdd {

// The roots that ufdd serves: what is configured, whether the groups are up, and what ufdd knows
// beside that. None is null.
struct StatusRoots {
   Zet::Ptr< UplinkFailureDetection::Config > config;
   Zet::Ptr< UplinkFailureDetection::Status > status;
   Zet::Ptr< State > state;

   // Returns empty roots.
   static StatusRoots make();

   using Entities = std::vector< Zet::Ptr< Zet::Entity > >;
   // Returns all of them in the order in which they are sent.
   Entities all() const { return { config, status, state }; }
   // Returns the roots for a peer whose hello announces that type: all of them for a State; the
   // Status alone for a Status, as in versions without State. Empty for any other type.
   Entities askedFor( std::string_view type ) const;
};

} // namespace Ufdd
