#pragma once

#include "agent/LinkSource.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <span>

namespace Ufdd {

// One interface to be opened or shut, and what came of it.
struct LinkRequest {
   enum class Means { adminDown };

   std::uint32_t index = 0;
   bool up = false;
   // For whom asks: the control goes by the index alone.
   Kelnet::IntfId port = {};

   // The answer: an errno value, 0 when it is done.
   int error = 0;
   // Also answers: how the interface was just before and just after, each with an index of 0 when
   // that is not known.
   Link before = {};
   Link after = {};

   // Whether it was open, as far as we know.
   bool wasUp() const { return before.index && before.adminUp; }
   // Whether it was seen to be as it was asked to be.
   bool isSeen() const { return after.index && after.adminUp == up; }
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
