#pragma once

#include "agent/kernel/Neighbours.h"
#include "agent/kernel/NetlinkSocket.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace Ufdd {

// Has the kernel ask, by ARP or neighbour discovery, through its table of neighbours. The kernel
// carries out each request before it returns from taking it, so nothing is waited for.
//
// An entry that has a hardware address is set to PROBE: the kernel sends one question to that
// address, and an answer makes the entry REACHABLE. Any other entry is resolved. Each question has
// to be begun by us, since the kernel repeats its own only every second.
class NetlinkNeighbours final : public Neighbours {
 public:
   std::string ask( std::uint32_t link, Prefix const& address ) override;
   bool hasAnswered( std::uint32_t link, Prefix const& address ) override;

 private:
   // An entry of the kernel's table.
   struct Entry {
      int error = 0;                  // Of the request for it; ENOENT if there is none.
      std::uint16_t state = 0;        // A bit of NUD_...
      std::uint8_t flags = 0;         // NTF_...
      std::uint32_t furtherFlags = 0; // NTF_EXT_...
   };

   Entry look( std::uint32_t link, Prefix const& address );
   // Changes or makes the entry. Returns an errno value.
   int put( std::uint32_t link, Prefix const& address, Entry const& entry, std::uint16_t nlFlags );
   // Sends the request and returns its answer, an entry or an error.
   Entry exchange( std::span< std::byte const > request );

   NetlinkSocket socket_;
   std::uint32_t sequence_ = 0;
};

} // namespace Ufdd
