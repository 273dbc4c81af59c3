#pragma once

#include "agent/ctl/ImaginedDetector.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/Screen.h"
#include "agent/ctl/View.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ufdd {

// What ufdd would do if links or checks went down or up, or another configuration were in force. A
// private instance of the library answers, which begins with the links as ufdd sees them. A port
// that it would shut may be an uplink of another group: its link is taken to follow.
class WhatIf {
 public:
   struct Question {
      std::vector< std::string > down; // Names of links.
      std::vector< std::string > up;
      std::vector< std::string > checks = {}; // "NAME=up" or "NAME=down".
      std::string file;                       // The configuration; that in force if empty.
   };
   // Throws: Failure when there is no such link or check, or when the file has errors.
   WhatIf( View const& view, Question const& question );

   bool shutsAny() const;
   // Returns tables of the groups and ports that would change, and of ports that would be left open
   // although a group that is down disables them.
   std::string text( Colours colours ) const;
   Json json() const;

 private:
   using GroupLinkStatus = UplinkFailureDetection::GroupLinkStatus;
   struct Group {
      std::string name;
      std::optional< GroupLinkStatus > now;  // Empty for a group that is new.
      std::optional< GroupLinkStatus > then; // Empty for a group that would be removed.
      // The numbers of its uplinks then.
      Zet::Ptr< GroupState > state;
   };
   enum class Act { none, shut, open };
   struct Port {
      std::string name;
      Act act = Act::none;
      double after = 0; // In seconds.
      std::string why = {};
      // If it would be opened: the routes that must exist, and after how many seconds it would be
      // opened without them.
      Zet::String8 routes = {};
      double latest = 0;
   };

   void setLinks( ImaginedDetector& detector, Question const& question );
   void addUnknown( ImaginedDetector& detector, std::set< std::string_view > const& known );
   std::set< Kelnet::IntfId > portsOf( ImaginedDetector const& detector ) const;
   void moveUntilStable( ImaginedDetector& detector, std::set< Kelnet::IntfId > const& keptDown );
   std::string leadersOf( ImaginedDetector const& detector,
                          UplinkFailureDetection::GroupConfig const& group ) const;
   bool isOurs( Kelnet::IntfId port ) const;
   std::string hindrance( ImaginedDetector const& detector, Kelnet::IntfId port ) const;
   void collectGroups( ImaginedDetector const& detector );
   void collectPort( ImaginedDetector const& detector, Kelnet::IntfId port );
   void addDelays( ImaginedDetector::Manner const& manner, Zet::Name const& group,
                   Port& port ) const;

   View const& view_;
   std::set< std::string > protected_; // Names of interfaces.
   std::vector< std::string > notices_;
   std::map< Zet::Name, bool >
       wantedAtFirst_;                   // If a group wanted its ports shut before any followed.
   std::set< Kelnet::IntfId > followed_; // The ports that were shut or opened.
   std::vector< Group > groups_;         // Those that change.
   std::vector< Port > ports_;           // Those that change, or would but for a reason.
   std::size_t sameGroups_ = 0;          // Number of the others.
};

} // namespace Ufdd
