#pragma once

#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <span>

namespace Ufdd {

// One interface to be set administratively up or down, and what came of it.
struct LinkRequest {
   std::uint32_t index = 0;
   bool up = false;
   // For whom asks: the control goes by the index alone.
   Kelnet::IntfId port = {};

   // The answer: an errno value, 0 when it is done.
   int error = 0;
   // Also an answer: how the interface was set just before.
   bool wasUp = false;
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
