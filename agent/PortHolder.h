#pragma once

#include "agent/Detector.h"
#include "agent/LinkControl.h"
#include "agent/LinkDirectory.h"
#include "agent/Log.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace Ufdd {

// Keeps the ports shut that have an entry in the cause status, and only those that it shut
// itself does it open again. It acts at the end of a loop turn, on the difference: an entry that
// was deleted and written back within the turn changes nothing.
class PortHolder final : public LinkDirectory::Observer {
 public:
   PortHolder( Detector& detector, LinkDirectory const& links, LinkControl& control, Log& log );
   ~PortHolder();

   // Acts on all that changed since the last time.
   void settle();
   // Some acts failed; retry() makes the next settle() try them again.
   bool hasFailures() const { return !failed_.empty(); }
   void retry();
   // Opens every port that we shut, whatever the cause status says. False when one couldn't be.
   bool release();

   void handlePort( Kelnet::IntfId port, bool adminUp ) override;
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
   void askToShut( Kelnet::IntfId port );
   void act();
   void handleShut( LinkRequest const& answer );
   void handleOpened( LinkRequest const& answer );
   void handleFailure( LinkRequest const& answer );
   std::string remedyOf( LinkRequest const& failure ) const;

   Detector& detector_;
   LinkDirectory const& links_;
   LinkControl& control_;
   Log& log_;
   Zet::Ptr< CauseObserver > causeObserver_;
   bool releasing_ = false;

   std::unordered_map< Kelnet::IntfId, Port, IntfIdHash > ports_;
   // Every link that we shut and have not opened since, by index, with its present name: another
   // link that comes to have the name is not ours to open.
   std::map< std::uint32_t, Kelnet::IntfId > shut_;
   std::vector< Kelnet::IntfId > changed_;
   std::set< Kelnet::IntfId > failed_;
   std::vector< LinkRequest > requests_; // The acts of the turn.
};

} // namespace Ufdd
