#pragma once

#include "agent/kernel/LinkSource.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <span>

namespace Ufdd {

// One interface to be opened or shut, and what came of it.
struct LinkRequest {
   enum class Means {
      adminDown, // It is set administratively down.
      protoDown, // Its protodown is set, and our bit among the reasons for that. Not every driver
                 // has this; the administrator's setting and ours don't get in each other's way.
      onlyReason // As protoDown, but when it is opened only our bit is taken back: the protodown
                 // was there before.
   };

   std::uint32_t index = 0;
   bool up = false;
   Means means = Means::adminDown;
   unsigned int reason = 0; // The number of our bit.
   bool onlyAsk = false;    // How the interface is: nothing is done about it.
   // For whom asks: the control goes by the index alone.
   Kelnet::IntfId port = {};

   // The answer: an errno value, 0 when it is done.
   int error = 0;
   // Also answers: how the interface was just before and just after, each with an index of 0 when
   // that is not known. The asker may say how it was last known to be before, which makes it
   // quicker to be sure.
   Link before = {};
   Link after = {};

   // Whether a link is as that means leaves it.
   static bool isShutBy( Link const& link, Means means, unsigned int reason ) {
      return means == Means::adminDown
                 ? !link.adminUp
                 : link.protoDown && link.hasProtoDownReason( reason ) && !link.carrier;
   }
   // Whether a link has carrier in spite of a protodown of ours: its driver lets it slip.
   bool isSlip( Link const& link ) const {
      return means != Means::adminDown && link.protoDown && link.hasProtoDownReason( reason ) &&
             link.carrier;
   }
   // Whether it was open, as far as we know.
   bool wasOpen() const { return before.index && !isShutBy( before, means, reason ); }
   // Whether it was seen to be as it was asked to be.
   bool isSeen() const {
      if ( !after.index )
         return false;
      if ( !up )
         return isShutBy( after, means, reason );
      return means == Means::adminDown ? after.adminUp : !after.hasProtoDownReason( reason );
   }
};

// What sets interfaces up and down: the kernel, or a stand-in.
class LinkControl {
 public:
   virtual ~LinkControl() = default;

   // Acts on all of them, in their order, and fills in the answers. A request for an interface
   // that is set that way already changes nothing. None fails because another did.
   virtual void apply( std::span< LinkRequest > requests ) = 0;
};

} // namespace Ufdd
