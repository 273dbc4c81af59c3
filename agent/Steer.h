#pragma once

#include "agent/base/Log.h"
#include "agent/control/ControlRequest.h"
#include "agent/detect/Detector.h"
#include "agent/orders/Orders.h"
#include "agent/ports/PortControl.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Ufdd {

// Decides whether a request to steer groups and ports is carried out, and records what it orders
// before anything acts on it. A request is carried out for all its targets or for none. If a group
// and a port share a name, the name means the group.
class Steer {
 public:
   // Borrows: all.
   Steer( Detector& detector, PortControl& portControl, Orders& orders, Log& log )
       : detector_( detector ), portControl_( portControl ), orders_( orders ), log_( log ) {}

   // Carries out `disable`, `down`, `automatic` or `clear`; the caller acts then. A dry run changes
   // nothing, and answers the same.
   // Requires: there is a target, and the request keeps the rules of requestOf().
   ControlReply handle( ControlRequest const& request );

 private:
   struct Target {
      bool isGroup;
      std::string name;

      std::string text() const { return ( isGroup ? "group " : "port " ) + name; }
      // Returns what the book orders about it, or null.
      Order const* orderIn( OrderBook const& book ) const;
   };
   using Targets = std::vector< Target >;
   // Why a request is not carried out; nothing if it is.
   using Objection = std::optional< ControlReply >;

   Objection findTargets( ControlRequest const& request, Targets& targets ) const;
   Objection objectionTo( ControlRequest const& request, Target const& target );
   Objection objectionToDown( ControlRequest const& request, Target const& target );
   Objection objectionToClear( Target const& target );
   ControlReply order( ControlRequest const& request, Targets const& targets );
   ControlReply clear( ControlRequest const& request, Targets const& targets );
   // The ports of the group; or the port itself.
   std::vector< Kelnet::IntfId > portsOf( Target const& target ) const;
   std::vector< Kelnet::IntfId > allPorts() const;
   // Returns what moves when these orders take the place of the present ones.
   ControlReply moves( OrderBook const& next, bool isForced );
   // Returns what is left to say about targets once the request is carried out.
   std::string remarks( ControlRequest const& request, Targets const& targets );
   ControlReply unrecorded( int error, std::string const& place ) const;
   void log( ControlRequest const& request, Targets const& targets );

   Detector& detector_;
   PortControl& portControl_;
   Orders& orders_;
   Log& log_;
};

} // namespace Ufdd
