#pragma once

#include "agent/base/WallTime.h"
#include "agent/ctl/Json.h"
#include "agent/ctl/Screen.h"
#include "agent/status/StatusRoots.h"
#include "host/GroupTransitions.h"

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace Ufdd {

// Writes each change of all groups and ports, or of one group and its ports. A change is a line
//
//    2026-03-01 12:30:00.123  group rack1   up -> down: uplink uplink2 lost carrier
//    2026-03-01 12:30:00.124  port server1  open -> shut (down)
//
// or a JSON object whose "event" is "state", "transition", "removed", "lost" or "resync".
class Watcher final : private UplinkFailureDetection::GroupTransitions::Listener {
 public:
   struct Style {
      bool asJson = false;
      Colours colours = Colours::none;
   };
   using Clock = Moment ( * )();

   // Writes nothing before showStates().
   // Borrows: out.
   Watcher( StatusRoots const& roots, std::string const& wanted, std::ostream& out, Style style,
            Clock clock = Moment::now );

   // Writes the state of each group, and of each port that is not open.
   // Throws: Failure, as View::keepGroup() does.
   void showStates();
   // Writes what has changed since the last call or showStates(). Call it whenever the roots are in
   // step with ufdd's.
   void showChanges();
   // Writes that the connection is lost.
   void handleLoss( std::string const& socket );
   // Writes that there is a new connection. The changes since the loss follow.
   void handleResync( std::string const& socket );

 private:
   using GroupLinkStatus = UplinkFailureDetection::GroupLinkStatus;
   struct Transition {
      Zet::Name group;
      GroupLinkStatus before;
      GroupLinkStatus now;
      bool isRemoval;
   };

   void handleTransition( Zet::Name const& name, GroupLinkStatus before,
                          GroupLinkStatus now ) override;
   void handleGroupGone( Zet::Name const& name ) override;
   View view() const;
   bool isWanted( PortState const& port ) const;
   void show( Transition const& transition, bool isLast, View const& view );
   void showPorts( View const& view );
   void line( std::string const& subject, Line rest );
   void object( std::string const& event, Json const& members );

   StatusRoots const roots_;
   std::string const wanted_;
   std::ostream& out_;
   Style const style_;
   Clock const clock_;
   bool begun_ = false;
   std::size_t subjectWidth_ = 0;
   std::vector< Transition > transitions_;      // To be shown.
   std::map< std::string, std::string > ports_; // The words last shown for each port, by name.
   UplinkFailureDetection::GroupTransitions groupTransitions_;
};

} // namespace Ufdd
