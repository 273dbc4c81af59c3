#pragma once

#include "agent/base/WallTime.h"
#include "agent/ctl/StatusReport.h"
#include "host/GroupTransitions.h"
#include "model/Status.h"

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Ufdd {

// Writes each change of all groups of a Status, or of one group, as it happens. A change is a line
//
//    2026-03-01 12:30:00.123  rack1  up -> down
//
// or a JSON object whose "event" is "state", "transition", "removed", "lost" or "resync".
class Watcher final : private UplinkFailureDetection::GroupTransitions::Listener {
 public:
   struct Style {
      bool asJson = false;
      Colours colours = Colours::none;
   };
   using Clock = double ( * )();

   // Writes nothing before showStates(). `clock` returns the wall time.
   // Borrows: out.
   Watcher( Zet::Ptr< UplinkFailureDetection::Status > const& status, std::string const& wanted,
            std::ostream& out, Style style, Clock clock = wallNow );

   // Writes the link status of each group, and writes changes from now on.
   // Throws: std::runtime_error, as groupsShown() does.
   void showStates();
   // Writes that the connection is lost.
   void handleLoss( std::string const& socket );
   // Writes that there is a new connection. The changes since the loss follow.
   void handleResync( std::string const& socket );

 private:
   using LinkStatus = UplinkFailureDetection::GroupLinkStatus;

   void handleTransition( Zet::Name const& name, LinkStatus before, LinkStatus now ) override;
   void handleGroupGone( Zet::Name const& name ) override;
   bool shows( Zet::Name const& name ) const;
   std::string padded( Zet::Name const& name );
   std::string word( LinkStatus status ) const;
   void line( std::string const& text );
   using Field = std::pair< char const*, std::string >;
   void object( std::string_view event, std::initializer_list< Field > fields );

   Zet::Ptr< UplinkFailureDetection::Status > const status_;
   std::string const wanted_;
   std::ostream& out_;
   Style const style_;
   Clock const clock_;
   bool begun_ = false;
   std::size_t nameWidth_ = 0;
   UplinkFailureDetection::GroupTransitions transitions_;
};

} // namespace Ufdd
