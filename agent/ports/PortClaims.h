#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Log.h"
#include "agent/kernel/SystemDump.h"
#include "platform/kelnet/IntfId.h"

#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// Claims ports, so that two processes with records of their own don't fight over one: the abstract
// Unix socket "ufdd/port/eth1" exists once in a network namespace, as long as its process. A name
// that the kernel resolves is claimed by the main name of its interface. A LAG is shut by its
// members: whoever claims a LAG or a member looks whether another ufdd has claimed the other. What
// joins a LAG later is not noticed.
//
// Any user can make such a socket. It counts as another ufdd's only if its process is root's or our
// own user's, or may change interfaces. Other processes can't keep ufdd from its ports, but they
// can keep it from noticing another ufdd, which is logged.
class PortClaims {
 public:
   using ReadLinks = std::map< std::uint32_t, Link > ( * )(); // As dumpLinks().

   // Borrows: the log. Throws: std::system_error.
   explicit PortClaims( Log& log, ReadLinks readLinks = dumpLinks );

   // Claims these ports as well. If other ufdds hold some, returns a line about each such process
   // with its ports, and claims none.
   std::vector< std::string > add( std::span< Kelnet::IntfId const > ports );
   // Gives up all other ports.
   void keepOnly( std::span< Kelnet::IntfId const > ports );

   // Readable while processes have asked who holds a port and handleReady() has not sent them away.
   // The kernel answers them, but only while few wait.
   int fd() const noexcept { return askers_.fd(); }
   // Sends some of them away. Returns false: that ends no turn.
   bool handleReady();

 private:
   // A port that another ufdd may have claimed, although it is not among ours.
   struct Relative {
      std::string name;
      std::string text; // What both ports are called in a message.
   };

   // Returns the LAGs of those ports that are members, and the members of those that are LAGs.
   std::vector< Relative > relativesOf( std::set< std::string > const& ports );

   // Claims beyond it are not made: descriptors are scarce.
   static constexpr std::size_t maxClaims = 512;

   Log& log_;
   ReadLinks const readLinks_;
   Descriptor askers_;                          // Of an epoll with all claims.
   std::map< std::string, Descriptor > claims_; // By name.
};

} // namespace Ufdd
