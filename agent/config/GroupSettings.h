#pragma once

#include "agent/config/Findings.h"
#include "model/GroupConfig.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace Ufdd {

// What to do when the group goes down or up.
struct GroupPolicy {
   // In seconds: how long the group must have been up before its ports are opened. Doubles each
   // time that the ports are shut soon after they were opened, up to recoveryDelayMax.
   double recoveryDelay = 2;
   double recoveryDelayMax = 60;
   // In seconds: how long the group must have been down before its ports are shut.
   double downDelay = 0;
   bool dryRun = false; // Only logs; never touches a port.
   // Also shuts a port that carries the machine's default route.
   bool allowDefaultRoute = false;

   bool operator==( GroupPolicy const& ) const = default;
};

// One group as configured.
struct GroupSettings {
   explicit GroupSettings( std::string_view name );
   GroupSettings( std::string_view name, std::initializer_list< std::string_view > monitor,
                  std::initializer_list< std::string_view > disable, unsigned int minLinks = 1 );

   std::string name() const { return std::string( config->name().view() ); }

   // The settings that the library reads. A member of no Config.
   Zet::Ptr< UplinkFailureDetection::GroupConfig > config;

   GroupPolicy policy;

   // Set if the group was read from a file.
   Place place;
   NamePlaces monitorPlaces;
   NamePlaces disablePlaces;
};

} // namespace Ufdd
