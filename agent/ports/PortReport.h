#pragma once

#include "agent/base/Log.h"
#include "agent/detect/Detector.h"
#include "agent/detect/GroupTexts.h"
#include "agent/detect/LinkDirectory.h"
#include "agent/ports/PortResult.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace Ufdd {

// Logs what was done about ports, and why.
class PortReport {
 public:
   // Borrows: all three.
   PortReport( Detector const& detector, LinkDirectory const& links, Log& log )
       : detector_( detector ), links_( links ), log_( log ) {}

   void tell( std::span< PortResult const > results );
   // The same for ports that are opened because the daemon stops.
   void tellReleased( std::span< PortResult const > results );
   // "can't be shut: Device or resource busy"
   static std::string failureOf( LinkRequest const& failure );

 private:
   // Logs `text`, marked with the names of `groups`.
   void line( LogEvent::Id id, GroupsText const& groups, Kelnet::IntfId port,
              std::string const& text );
   void tell( PortResult const& result );
   // Why the port must be shut: "group a is down, 0/2 up, min_links 1".
   GroupsText demandText( Kelnet::IntfId port ) const;
   // Why it is not, if all groups that ask for it are left alone or up again.
   std::string leftAloneText( Kelnet::IntfId port ) const;
   void tellShut( LinkRequest const& answer, std::string_view how );
   // "port eth1 WHY, though group a is down, 0/2 up, min_links 1REMEDY"
   void tellLeftOpen( LinkRequest const& answer, std::string const& why,
                      std::string_view remedy = {} );
   void tellOpened( LinkRequest const& answer );
   void tellFailed( LinkRequest const& answer, bool isReleasing );
   static std::string remedyOf( LinkRequest const& failure );
   std::string commandFor( LinkRequest const& failure ) const;
   // "port eth1", "port bond0 (member eth1)"
   std::string nameOf( LinkRequest const& answer ) const;

   Detector const& detector_;
   LinkDirectory const& links_;
   Log& log_;
};

} // namespace Ufdd
