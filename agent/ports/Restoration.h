#pragma once

#include "agent/base/Log.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/RouteSource.h"
#include "agent/ports/PortControl.h"
#include "agent/ports/PortSettingsStore.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <vector>

namespace Ufdd {

// Puts back the static addresses and routes that the kernel drops from a port that ufdd sets
// administratively down, and from the VLANs on it. They are taken from what the source of routes
// shows when it learns that the port went down: nobody is asked on the way to an act. Once the port
// is open, all that nobody else has put back is put back. The record shows what ports have now, so
// that the next process can do that wherever this one ends.
class Restoration final : public RouteListener {
 public:
   // Borrows: all.
   Restoration( LinkDirectory const& links, PortControl const& ports, RouteSource& routes,
                PortSettingsStore& store, Log& log );

   // Sets the ports whose settings are recorded.
   void portsAre( std::vector< Kelnet::IntfId > ports );
   // Takes over what a former process owes. Requires: links and ports are known.
   void recall();
   // Call after acts.
   void handleResults( std::span< PortResult const > results );
   // Puts back what is due, and records changes that have come to rest. Call at the end of a turn.
   void endTurn();
   // Call every few seconds: writes the record again if it was removed or could not be written.
   void checkRecord();
   // When to call endTurn() even if nothing happens, by Zet::now(); or nothing.
   std::optional< double > nextTime() const;
   // Does now what endTurn() would do later, as the daemon stops. Returns false if something is
   // left to be put back, which may work a moment later. With `isLast`, names that in the log.
   bool finish( bool isLast );

   void handleLinkEvent( std::uint32_t link, LinkEvent event ) override;
   void handleRoutesLost() override;

 private:
   // Settings to be put back.
   struct Owed {
      PortSettings port;
      // Since when the link is open, by Zet::now(). Nothing is put back before.
      std::optional< double > openSince;
      double tryAt = 0;
      std::size_t restored = 0;
      std::vector< int > errors = {}; // Of the last try, for each setting that is left.
   };

   // Calls visit( index ) for the link and those that it runs on; returns true when one call does.
   template < class Visit > bool anyBelow( std::uint32_t link, Visit visit ) const;
   bool wasSetDown( std::uint32_t link ) const;
   bool isTaken( std::uint32_t link ) const;
   // Returns the links of ports that have settings now, or may have lost them already by an act of
   // which the source has not told.
   std::unordered_set< std::uint32_t > present() const;
   bool isPending( std::uint32_t link ) const;
   void owe( std::uint32_t link, std::vector< LinkSetting > const& settings );
   // Puts back what is due, but so many settings at most.
   void restore( std::size_t budget, bool isLast );
   // Returns true if it is to be put back now.
   bool isDue( Owed& owed, bool isLast ) const;
   // The same for one link; takes what it has tried off `budget`. Returns true if nothing more is
   // to be done about it.
   bool restore( Owed& owed, std::size_t& budget, bool isLast );
   void tellFailures( Owed const& owed );
   // Returns true if the record may be out of date.
   bool isOutdated() const;
   void record();
   std::vector< PortSettings > all() const;

   LinkDirectory const& links_;
   PortControl const& ports_;
   RouteSource& routes_;
   PortSettingsStore& store_;
   Log& log_;

   std::vector< Kelnet::IntfId > configured_;
   std::map< std::uint32_t, Owed > owed_; // By index.
   // Acts that set a link down. The source of routes has not told their end yet.
   struct Taken {
      unsigned int acts = 0;
      unsigned int downs = 0; // So many whose begin it has told.
   };
   std::map< std::uint32_t, Taken > taken_; // By index.
   // Until when the source may tell of an act whose answer was lost, by Zet::now(); by index.
   std::map< std::uint32_t, double > unanswered_;
   bool isChanged_ = false;            // Since the last record.
   std::uint64_t recordedVersion_ = 0; // Of the table.
   std::vector< PortSettings > recorded_;
   std::optional< double > recordAt_; // By Zet::now().
   int recordError_ = 0;
};

} // namespace Ufdd
