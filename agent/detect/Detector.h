#pragma once

#include "agent/config/GroupSettings.h"
#include "agent/detect/BootHistory.h"
#include "agent/detect/GroupDecisions.h"
#include "model/Config.h"
#include "model/GroupLinkStatus.h"
#include "model/Status.h"
#include "platform/errdisable/CauseStatus.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"
#include "sm/Root.h"

#include <vector>

namespace Ufdd {

// The detection library as this process hosts it: the four objects that it works on, its machine,
// and what is decided by the statuses that it writes.
class Detector {
 public:
   // Borrows: store.
   explicit Detector( BootStore& store );

   // The objects that the library reads and writes. None is ever null.
   Zet::Ptr< UplinkFailureDetection::Config > const config;
   Zet::Ptr< UplinkFailureDetection::Status > const status;
   Zet::Ptr< Errdisable::CauseStatus > const causeStatus;
   Zet::Ptr< Interface::EthIntfStatusDir > const directory;
   // How many groups a new configuration touched.
   struct Difference {
      unsigned int added = 0;
      unsigned int changed = 0;
      unsigned int removed = 0;
   };

   // Makes the configuration that of `groups`. Unchanged groups are not touched.
   // Requires: the directory tells the state of all interfaces named.
   Difference configure( std::vector< GroupSettings > const& groups );
   // Evaluates every group and reacts from then on.
   // Requires: the directory tells the state that the interfaces are in.
   void start();

   BootHistory& history() { return history_; }
   BootHistory const& history() const { return history_; }
   GroupDecisions& decisions() { return decisions_; }
   GroupDecisions const& decisions() const { return decisions_; }
   PortReasons const& reasons() const { return decisions_.reasons(); }

   // Returns true if the interface is there and up.
   bool isUp( Kelnet::IntfId uplink ) const;
   // Returns true if no such interface has existed since the machine booted.
   bool isUnproven( Kelnet::IntfId uplink ) const { return !history_.hasExisted( uplink ); }
   // The number of the group's uplinks that are up.
   unsigned int upOf( UplinkFailureDetection::GroupConfig const& group ) const;

 private:
   void configure( GroupSettings const& settings, Difference& difference );
   bool isDown( Zet::Name const& group ) const;

   BootHistory history_;
   GroupDecisions decisions_;
   Zet::Ptr< UplinkFailureDetection::Root > const root_;
};

} // namespace Ufdd
