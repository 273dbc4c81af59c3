#pragma once

#include "agent/base/Log.h"
#include "agent/config/GroupSettings.h"
#include "agent/detect/ShutDecisions.h"
#include "model/Config.h"
#include "model/GroupLinkStatus.h"
#include "model/Status.h"
#include "platform/errdisable/CauseStatus.h"
#include "platform/interface/EthIntfStatusDir.h"
#include "platform/kelnet/IntfId.h"
#include "sm/Root.h"

#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// The detection library as this process hosts it: the four objects that it works on, and its
// machine.
class Detector {
 public:
   explicit Detector( Log& log );

   // What the library reads and writes. None is ever null.
   Zet::Ptr< UplinkFailureDetection::Config > const config;
   Zet::Ptr< UplinkFailureDetection::Status > const status;
   Zet::Ptr< Errdisable::CauseStatus > const cause;
   Zet::Ptr< Interface::EthIntfStatusDir > const directory;
   // What is done about what they tell.
   ShutDecisions decisions;

   // How many groups a new configuration touched.
   struct Difference {
      unsigned int added = 0;
      unsigned int changed = 0;
      unsigned int removed = 0;
   };

   // Makes the configuration what it is to be. Groups that are the same see nothing of it.
   // Requires: the directory tells the state of all interfaces named.
   Difference configure( std::vector< GroupSettings > const& groups );
   // Evaluates every group and reacts from then on.
   // Requires: the directory tells the state that the interfaces are in.
   void start();

   bool mustBeShut( Kelnet::IntfId port ) const { return decisions.mustBeShut( port ); }
   struct Groups {
      std::vector< std::string_view > names; // Valid until: the configuration changes.
      // "group a is down, 0/2 up, min_links 1, dry_run", for each, with "; " between them.
      std::string text;
   };
   enum class DryRun { included, leftOut };
   // Those of that status that disable `port`.
   Groups groupsOf( Kelnet::IntfId port, UplinkFailureDetection::GroupLinkStatus linkStatus,
                    DryRun dryRun = DryRun::included ) const;
   // "eth1 up, eth2 down, eth3 absent"
   std::string uplinksOf( UplinkFailureDetection::GroupConfig const& group ) const;
   // How many of them are up.
   unsigned int upOf( UplinkFailureDetection::GroupConfig const& group ) const;
   // "1/2 up, min_links 1"
   std::string countOf( UplinkFailureDetection::GroupConfig const& group ) const {
      return countOf( group, upOf( group ) );
   }
   static std::string countOf( UplinkFailureDetection::GroupConfig const& group, unsigned int up );

 private:
   void configure( GroupSettings const& settings, Difference& difference );
   bool isDown( Zet::Name const& group ) const;

   Zet::Ptr< UplinkFailureDetection::Root > const root_;
};

} // namespace Ufdd
