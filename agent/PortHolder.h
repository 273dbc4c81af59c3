#pragma once

#include "agent/Detector.h"
#include "agent/LinkControl.h"
#include "agent/LinkDirectory.h"
#include "agent/Log.h"
#include "agent/Ownership.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// Keeps the ports shut that the verdicts on the groups ask for, and only those that it shut
// itself does it open again. It acts at the end of a loop turn, on the difference: what was done
// and undone within the turn changes nothing.
class PortHolder final : public LinkDirectory::Observer {
 public:
   PortHolder( Detector& detector, LinkDirectory const& links, LinkControl& control,
               Ownership& ownership, Log& log );
   ~PortHolder();

   // Between the two, the links that are told of are taken for ours if we shut them before this
   // process began.
   void beginAdoption();
   void endAdoption();
   // Acts on all that changed since the last time.
   void settle();
   // Something failed; retry() makes the next settle() try it again.
   bool hasFailures() const { return !failed_.empty() || rememberError_ != 0; }
   void retry();
   // Whether a link of that name was shut by us.
   bool owns( Kelnet::IntfId port ) const;
   // How many links are shut by us.
   std::size_t count() const { return shut_.size(); }
   // Opens every port that we shut, whatever the cause status says. False when one couldn't be.
   bool release();

   void handleLink( Link const& link, Kelnet::IntfId port ) override;
   void handleRenamed( std::uint32_t index, InterfaceName const& name ) override;
   void handleGone( std::uint32_t index ) override;

 private:
   class CauseObserver;

   struct Port {
      bool changed = false; // Is in changed_.
      bool seenUp = false;  // Since the last turn, while it has an entry.
      // Of the link that we found administratively down already, and left to whoever did that.
      std::uint32_t leftAlone = 0;
      int error = 0; // Of the last act on it.
   };

   struct IntfIdHash {
      std::size_t operator()( Kelnet::IntfId id ) const noexcept { return id.value(); }
   };

   void handleChange( Kelnet::IntfId port );
   void restoreEntriesOfDownGroups();
   void adopt( Link const& link );
   void askToShut( Kelnet::IntfId port );
   void leaveAlone( Port& state, Link const& link );
   void remember();
   void act();
   void handleShut( LinkRequest const& answer );
   void handleOpened( LinkRequest const& answer );
   void handleFailure( LinkRequest const& answer );
   std::string remedyOf( LinkRequest const& failure ) const;

   Detector& detector_;
   LinkDirectory const& links_;
   LinkControl& control_;
   Ownership& ownership_;
   Log& log_;
   Zet::Ptr< CauseObserver > causeObserver_;
   bool releasing_ = false;

   std::unordered_map< Kelnet::IntfId, Port, IntfIdHash > ports_;
   // Every link that we shut and have not opened since, by index, with its present name: another
   // link that comes to have the name is not ours to open.
   std::map< std::uint32_t, Holding > shut_;
   // Of a former process, while links are adopted.
   std::map< std::uint32_t, Holding > recalled_;
   // None before the first time.
   std::optional< std::vector< Holding > > remembered_;
   int rememberError_ = 0;
   bool retryRemembering_ = false;
   std::vector< Kelnet::IntfId > changed_;
   std::set< Kelnet::IntfId > failed_;
   std::vector< LinkRequest > requests_; // The acts of the turn.
};

} // namespace Ufdd
