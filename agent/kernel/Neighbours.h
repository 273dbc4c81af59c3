#pragma once

#include "agent/kernel/Prefix.h"

#include <cstdint>
#include <string>

namespace Ufdd {

// Asks neighbours whether they are there: the kernel, or a stand-in.
class Neighbours {
 public:
   virtual ~Neighbours() = default;

   // Has the neighbour of that address on that link asked once, at once. Never waits for the
   // answer. Returns why it can't be asked; empty if it is.
   virtual std::string ask( std::uint32_t link, Prefix const& address ) = 0;
   // Returns true if it has answered since it was last asked.
   virtual bool hasAnswered( std::uint32_t link, Prefix const& address ) = 0;
};

} // namespace Ufdd
