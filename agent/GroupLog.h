#pragma once

#include "agent/Detector.h"
#include "agent/LinkDirectory.h"
#include "agent/Log.h"

#include <map>

namespace Ufdd {

// Writes a line for every transition of a group:
// "group rack1: up -> down, 0/2 up, min_links 1: uplink eth2 lost carrier".
class GroupLog {
 public:
   GroupLog( Detector const& detector, LinkDirectory const& links, Log& log );
   ~GroupLog();

 private:
   class StatusObserver;
   class GroupObserver;

   void handleGroup( Zet::Name const& name );
   void handleTransition( Zet::Name const& name, UplinkFailureDetection::GroupLinkStatus before,
                          UplinkFailureDetection::GroupLinkStatus now );

   Detector const& detector_;
   LinkDirectory const& links_;
   Log& log_;
   std::map< Zet::Name, Zet::Ptr< GroupObserver > > groups_;
   Zet::Ptr< StatusObserver > statusObserver_;
};

} // namespace Ufdd
