#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/detect/PreludedLog.h"
#include "host/GroupTransitions.h"

#include <map>
#include <vector>

namespace Ufdd {

// Writes a line for every transition of a group:
// "group rack1: up -> down, 0/2 up, min_links 1: uplink eth2 lost carrier";
// and, at the end of a turn without one, what is left of the uplinks where that has changed:
// "group rack1: 1/2 up, min_links 1: uplink eth1 lost carrier".
// Ports wait to be shut while a transition happens, so it is told of with the first line about
// them.
class GroupLog final : public PreludedLog::Prelude,
                       private UplinkFailureDetection::GroupTransitions::Listener {
 public:
   GroupLog( Detector const& detector, LinkDirectory const& links, Log& log );

   // Between the two, a group may pass through states that nobody configured: what counts is where
   // it comes to rest.
   void beginConfiguring() { isConfiguring_ = true; }
   void endConfiguring();
   // The end of a loop turn: what changed in it.
   void settle( std::vector< LinkCause > const& changes );
   void tell() override;

 private:
   using LinkStatus = UplinkFailureDetection::GroupLinkStatus;
   struct Transition {
      Zet::Name name;
      LinkStatus before, now;
      LinkCause cause;
      unsigned int up; // Number of uplinks that were up.
   };

   void handleTransition( Zet::Name const& name, LinkStatus before, LinkStatus now ) override;
   void keep( Zet::Name const& name, LinkStatus before, LinkStatus now );
   void print( Transition const& transition );

   Detector const& detector_;
   LinkDirectory const& links_;
   Log& log_;
   std::vector< Transition > transitions_; // To be told.
   bool isConfiguring_ = false;
   std::map< Zet::Name, LinkStatus > beforeConfiguring_;
   std::map< Zet::Name, unsigned int > toldUp_; // How many uplinks of a group are up.
   UplinkFailureDetection::GroupTransitions groups_;
};

} // namespace Ufdd
