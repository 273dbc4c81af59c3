#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkControl.h"
#include "agent/ports/Holdings.h"
#include "agent/ports/Ownership.h"
#include "agent/ports/PortActs.h"

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace Ufdd {

// Keeps the ports shut that the decisions about the groups ask for, and only those that it shut
// itself does it open again. It acts at the end of a loop turn, on the difference: what was done
// and undone within the turn changes nothing.
//
// A port is shut by the first means that works: protodown, else administratively down. A LAG is
// shut by its members, for nobody else notices that the LAG itself is shut.
class PortHolder final : public LinkDirectory::Observer {
 public:
   static constexpr unsigned int usualReason = 5;

   PortHolder( Detector& detector, LinkDirectory const& links, LinkControl& control,
               Ownership& ownership, Log& log );

   // Our bit among the reasons for protodown, 0 to 31, of what is adopted or shut from now on.
   void reasonIs( unsigned int reason ) { reason_ = reason; }
   // Between the two, the links that are told of are taken for ours if we shut them before this
   // process began. One that comes later is ours if it has our mark.
   void beginAdoption() { holdings_.beginAdoption(); }
   void endAdoption() { holdings_.endAdoption(); }
   // Acts on all that changed since the last time.
   void settle();
   // Something failed; retry() makes the next settle() try it again.
   bool hasFailures() const { return acts_.hasFailures() || holdings_.hasFailed(); }
   void retry();
   // Whether a link of that port was shut by us, and be it overridden since.
   bool owns( Kelnet::IntfId port );
   // How many links are shut by us.
   std::size_t count() const { return holdings_.count(); }
   // Opens every port that we shut, whatever the groups say, and forgets what is overridden. False
   // when one couldn't be opened.
   bool release();
   // The names, " d1 d2", of links that should be shut, but are left to who opened them again and
   // again.
   std::string overridden() const;

   void handleNew( Link const& link ) override { holdings_.adopt( link, reason_ ); }
   void handleLink( Link const& link ) override;
   void handleRenamed( std::uint32_t index, InterfaceName const& name ) override;
   void handleGone( std::uint32_t index ) override { acts_.handleGone( index ); }

 private:
   struct IntfIdHash {
      std::size_t operator()( Kelnet::IntfId id ) const noexcept { return id.value(); }
   };

   void handleChange( Kelnet::IntfId port );
   // The port for whose sake the link is to be shut, else one that it serves, else, if it is ours,
   // its name; or empty.
   Kelnet::IntfId portOf( Link const& link ) const;
   // The links that are shut when the port is.
   void collectLinks( Kelnet::IntfId port );

   Detector& detector_;
   LinkDirectory const& links_;
   unsigned int reason_ = usualReason;

   Holdings holdings_;
   PortActs acts_;
   std::vector< Kelnet::IntfId > changed_;
   std::unordered_set< Kelnet::IntfId, IntfIdHash > isChanged_; // The same.
   std::vector< Link > ofPort_;                                 // While collected.
};

} // namespace Ufdd
