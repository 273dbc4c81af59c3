#pragma once

#include "agent/config/Findings.h"
#include "model/GroupConfig.h"

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>

namespace Ufdd {

// Where each interface of a list stands in the file.
using InterfacePlaces = std::map< std::string, Place, std::less<> >;

// What is to be done about a group's state.
struct GroupPolicy {
   // In seconds: how long it must have been up before its ports are opened, and how long down
   // before they are shut.
   double recoveryDelay = 0;
   double downDelay = 0;
   bool dryRun = false; // Nothing but to tell.

   bool operator==( GroupPolicy const& ) const = default;
};

// One group as it is to be.
struct GroupSettings {
   explicit GroupSettings( std::string_view name );
   GroupSettings( std::string_view name, std::initializer_list< std::string_view > monitor,
                  std::initializer_list< std::string_view > disable, unsigned int minLinks = 1 );

   std::string name() const { return std::string( config->name().view() ); }

   // What the detection is to know of it. Belongs to no Config.
   Zet::Ptr< UplinkFailureDetection::GroupConfig > config;

   GroupPolicy policy;

   // Of a group that was read from a file.
   Place place;
   InterfacePlaces monitorPlaces;
   InterfacePlaces disablePlaces;
};

} // namespace Ufdd
