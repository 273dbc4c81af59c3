#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/kernel/LinkControl.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Ufdd {

// Logs each act on a port and why.
class PortReport {
 public:
   // Errors beside the errno values. The kernel reported an act as done, but the link is unchanged:
   static constexpr int notSeen = -1;
   // An act was not tried, because the link is not the one that we shut.
   static constexpr int otherHardware = -2;

   // Borrows: all three.
   PortReport( Detector const& detector, LinkDirectory const& links, Log& log )
       : detector_( detector ), links_( links ), log_( log ) {}

   // Says that ports are opened because the daemon stops.
   void releasingIs( bool releasing ) { releasing_ = releasing; }

   void shut( LinkRequest const& answer ) { held( answer.index, answer.port, "shut" ); }
   void shutAgain( LinkRequest const& answer ) {
      held( answer.index, answer.port, "shut again, someone had opened it" );
   }
   void leftAlone( std::uint32_t index, Kelnet::IntfId port ) {
      held( index, port, "left as it is, administratively down already" );
   }
   void overridden( LinkRequest const& answer, std::size_t maxReopenings );
   void opened( LinkRequest const& answer );
   void failed( LinkRequest const& answer );

 private:
   // Logs `text`, marked with the names of `groups`.
   void tell( LogEvent::Id id, Detector::Groups const& groups, Kelnet::IntfId port,
              std::string const& text );
   void held( std::uint32_t index, Kelnet::IntfId port, std::string_view how );
   std::string remedyOf( LinkRequest const& failure ) const;
   // "port eth1", "port bond0 (member eth1)"
   std::string nameOf( std::uint32_t index, Kelnet::IntfId port ) const;

   Detector const& detector_;
   LinkDirectory const& links_;
   Log& log_;
   bool releasing_ = false;
};

} // namespace Ufdd
