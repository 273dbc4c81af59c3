#pragma once

#include "agent/base/Log.h"
#include "agent/detect/BootHistory.h"
#include "agent/detect/GroupDecision.h"
#include "model/GroupConfig.h"
#include "platform/interface/EthIntfStatusDir.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// Collects the lines for the log about decisions that are put off, that are only told of, or that
// can't be carried out.
class DecisionRemarks {
   using GroupConfig = UplinkFailureDetection::GroupConfig;

 public:
   DecisionRemarks( Interface::EthIntfStatusDir const& directory, BootHistory const& history )
       : directory_( directory ), history_( history ) {}

   struct Remark {
      Zet::Name group;
      std::string text;
      LogEvent::Id id = LogEvent::groupDecision;
      std::vector< Kelnet::IntfId > unproven = {}; // The names that may be mistyped.
   };
   // Returns the remarks since the last call.
   std::vector< Remark > take() { return std::exchange( remarks_, {} ); }
   void forget( Zet::Name const& group ) { told_.erase( group ); }

   void addLeftAlone( GroupConfig const& group, GroupWait const& wait, double now );
   void addLatched( GroupConfig const& group );
   // Adds nothing if the log says so already, by the wait before.
   void addDelay( GroupConfig const& group, GroupDecision const& decision, GroupWait const& before,
                  double now );
   // A delay has hidden that the group was otherwise since `told`.
   void addHidden( GroupConfig const& group, GroupDecision const& decision, double told );
   // The routes that are `missing` are awaited until `end`, or were.
   void addAwaited( GroupConfig const& group, GroupDecision const& decision,
                    std::string const& missing, double end, double now );
   // The decision is about to be reversed.
   void addDryRun( GroupConfig const& group, GroupDecision const& decision );
   void addAbsentPorts( GroupConfig const& group );

 private:
   // The remarks about one group so far.
   struct Told {
      // The `since` for which it is said that routes are awaited, and that they are no longer.
      double awaiting = -1;
      double timeout = -1;
      unsigned int hidden = 0; // Number of changes that were undone before their delay ran out.
   };

   void add( GroupConfig const& group, std::string text ) {
      remarks_.push_back( { group.name(), std::move( text ) } );
   }

   Interface::EthIntfStatusDir const& directory_;
   BootHistory const& history_;
   std::vector< Remark > remarks_;
   std::map< Zet::Name, Told > told_;
};

} // namespace Ufdd
