#pragma once

#include "agent/kernel/LinkSource.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <span>

namespace Ufdd {

// A request to open or shut one link, and its result.
struct LinkRequest {
   enum class Means {
      adminDown, // The link is set administratively down.
      protoDown, // Protodown is set, with our bit among its reasons. Leaves the administrator's
                 // setting alone, but not every driver supports it.
      onlyReason // As protoDown, but opening only clears our bit: protodown was set before.
   };

   std::uint32_t index = 0;
   bool up = false; // Opens the link, else shuts it.
   Means means = Means::adminDown;
   unsigned int reason = 0; // The number of our bit.
   bool onlyQuery = false;  // Only queries the state; changes nothing.
   // For the caller's use; the control goes by the index alone.
   Kelnet::IntfId port = {};

   // The result: an errno value, 0 when it is done.
   int error = 0;
   // Also results: the link just before and just after, with index 0 when unknown. The caller may
   // set `before` to the last known state, which saves a query.
   Link before = {};
   Link after = {};

   // Returns true if `link` is shut by that means.
   static bool isShutBy( Link const& link, Means means, unsigned int reason ) {
      return means == Means::adminDown
                 ? !link.adminUp
                 : link.protoDown && link.hasProtoDownReason( reason ) && !link.carrier;
   }
   // Returns true if `link` has carrier in spite of our protodown: its driver ignores it.
   bool isSlip( Link const& link ) const {
      return means != Means::adminDown && link.protoDown && link.hasProtoDownReason( reason ) &&
             link.carrier;
   }
   // Returns true if the link is known to have been open.
   bool wasOpen() const { return before.index && !isShutBy( before, means, reason ); }
   // Returns true if the link was seen in the requested state.
   bool isSeen() const {
      if ( !after.index )
         return false;
      if ( !up )
         return isShutBy( after, means, reason );
      return means == Means::adminDown ? after.adminUp : !after.hasProtoDownReason( reason );
   }
};

// Opens and shuts links: the kernel, or a stand-in.
class LinkControl {
 public:
   virtual ~LinkControl() = default;

   // Carries out all requests in order, each whatever becomes of the others, and fills in the
   // results. A request for a link that is in that state already changes nothing.
   virtual void apply( std::span< LinkRequest > requests ) = 0;
};

} // namespace Ufdd
