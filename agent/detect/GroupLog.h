#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "host/GroupTransitions.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ufdd {

// Logs a line for every transition of a group:
// "group rack1: up -> down, 0/2 up, min_links 1: uplink eth2 lost carrier";
// and, at the end of a turn without one, the number of uplinks that are up, if that has changed:
// "group rack1: 1/2 up, min_links 1: uplink eth1 lost carrier".
// Ports wait to be shut while a transition happens, so it is logged only after the acts.
class GroupLog final : private UplinkFailureDetection::GroupTransitions::Listener {
 public:
   GroupLog( Detector const& detector, LinkDirectory const& links, Log& log );

   // Between these two calls, a group may pass through states that nobody configured: only its last
   // state is logged.
   void beginConfiguring() { isConfiguring_ = true; }
   void endConfiguring();
   // Logs the transitions since the last call.
   void tellTransitions();
   // A transition that was logged.
   struct Told {
      Zet::Name group;
      UplinkFailureDetection::GroupLinkStatus before, now;
      std::string cause; // "uplink eth2 lost carrier"; "configured".
   };
   // Returns the transitions logged since the last call.
   std::vector< Told > takeTold() { return std::exchange( told_, {} ); }
   void tell( std::vector< DecisionRemarks::Remark > const& remarks );
   // Logs changed numbers of uplinks, with the last of `changes` that explains each.
   void tellUplinks( std::vector< LinkCause > const& changes );

 private:
   using GroupLinkStatus = UplinkFailureDetection::GroupLinkStatus;
   struct Transition {
      Zet::Name name;
      GroupLinkStatus before, now;
      LinkCause cause;
      unsigned int up; // Number of uplinks that were up.
   };

   void handleTransition( Zet::Name const& name, GroupLinkStatus before,
                          GroupLinkStatus now ) override;
   void keep( Zet::Name const& name, GroupLinkStatus before, GroupLinkStatus now );
   void print( Transition const& transition );
   std::string suggestionFor( std::string_view name, Zet::Name const& group ) const;

   Detector const& detector_;
   LinkDirectory const& links_;
   Log& log_;
   std::vector< Transition > waiting_; // Not logged yet.
   std::vector< Told > told_;          // See takeTold().
   bool isConfiguring_ = false;
   std::map< Zet::Name, GroupLinkStatus > beforeConfiguring_;
   std::map< Zet::Name, unsigned int > toldUp_; // The number of uplinks up, as last logged.
   UplinkFailureDetection::GroupTransitions transitions_;
};

} // namespace Ufdd
