#pragma once

#include "agent/base/InterfaceName.h"
#include "agent/kernel/LinkControl.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// That an interface is shut by us, or about to be; or that it was, and is overridden: others opened
// it so often that it is left to them.
struct Holding {
   std::uint32_t index = 0;
   InterfaceName name;
   std::uint64_t address = 0; // Of the hardware, as in Link.
   LinkRequest::Means means = LinkRequest::Means::adminDown;
   unsigned int reason = 0; // As in LinkRequest; 0 where the means has none.
   bool isOverridden = false;

   bool operator==( Holding const& ) const = default;
   // Whether the link is as the means leaves it.
   bool isIn( Link const& link ) const { return LinkRequest::isHeld( link, means, reason ); }
   // Whether what the means does to a link is still there, be it to no effect.
   bool isOn( Link const& link ) const {
      return means == LinkRequest::Means::adminDown ? !link.adminUp
                                                    : link.hasProtoDownReason( reason );
   }
   // What opens it.
   LinkRequest opening( Kelnet::IntfId port ) const {
      return { .index = index, .up = true, .means = means, .reason = reason, .port = port };
   }
};

// Remembers, beyond the end of the process, however it comes, what is shut by us or overridden.
class Ownership {
 public:
   virtual ~Ownership() = default;

   // What was remembered, as far as it can still be true: not from before the machine was started
   // anew, nor from another network namespace.
   virtual std::vector< Holding > recall() = 0;
   // These are remembered as well, as far as that can be done; remember() follows, in which it is
   // seen whether it could. Safely so on return, for ports wait to be shut meanwhile.
   virtual void add( std::span< Holding const > holdings ) = 0;
   // From now on exactly these are remembered: safely so on return. The result is an errno value;
   // when it is not 0, what was remembered before and is among these still is.
   virtual int remember( std::span< Holding const > holdings ) = 0;
   // Where, for the user.
   virtual std::string place() const = 0;
};

} // namespace Ufdd
