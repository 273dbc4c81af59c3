#pragma once

#include "agent/config/Findings.h"
#include "agent/kernel/Prefix.h"
#include "agent/state/GroupMode.h"
#include "agent/state/OrderKind.h"
#include "model/GroupConfig.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// A route of the main table that has to exist.
struct RouteCondition {
   static constexpr std::string_view defaultRoute = "default-route";

   std::optional< Prefix > to; // Empty for a default route of IPv4 or IPv6.

   std::string text() const { return to ? to->text() : std::string( defaultRoute ); }
   bool operator==( RouteCondition const& ) const = default;
};

// "10.0.0.0/8, default-route"
std::string routesText( std::vector< RouteCondition > const& routes );

// What to do when the group goes down or up.
struct GroupPolicy {
   // In seconds: how long the group must have been up before its ports are opened. Doubles each
   // time that the ports are shut soon after they were opened, up to recoveryDelayMax.
   double recoveryDelay = 2;
   double recoveryDelayMax = 60;
   // In seconds: how long the group must have been down before its ports are shut.
   double downDelay = 0;
   bool dryRun = false;    // Only logs; never touches a port.
   bool enabled = true;    // Else it shuts no port.
   bool forceDown = false; // Its ports are shut, whatever its uplinks do.
   // Else its ports stay shut once it has been down, until an operator clears them.
   bool autoRecover = true;
   // Also shuts a port that carries the machine's default route.
   bool allowDefaultRoute = false;
   // Opens ports only while all of these routes exist, or after releaseTimeout more seconds.
   std::vector< RouteCondition > releaseWhen = {};
   double releaseTimeout = 60;
   // How many uplinks must be up for the group to be up again once it was down. Below minLinks, it
   // is as many as that.
   unsigned int recoverLinks = 0;

   // Returns what the group does about its ports, apart from the state of its uplinks: neither
   // `startupHold` nor `unproven`. An order about the group wins over the configuration.
   GroupMode mode( OrderKind order ) const;
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
