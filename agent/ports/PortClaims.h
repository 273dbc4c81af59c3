#pragma once

#include "agent/base/Descriptor.h"
#include "agent/base/Log.h"
#include "platform/kelnet/IntfId.h"

#include <map>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// Claims ports, so that two processes with records of their own don't fight over one: the abstract
// Unix socket "ufdd/port/eth1" exists once in a network namespace, as long as its process. A name
// that the kernel resolves is claimed by the main name of its interface.
//
// Any user can make such a socket. It counts as another ufdd's only if its process is root's or our
// own user's, or may change interfaces. Other processes can't keep ufdd from its ports, but they
// can keep it from noticing another ufdd, which is logged.
class PortClaims {
 public:
   // Borrows: the log.
   explicit PortClaims( Log& log ) : log_( log ) {}

   // Claims these ports as well. If other ufdds hold some, returns a line about each such process
   // with its ports, and claims none.
   std::vector< std::string > add( std::span< Kelnet::IntfId const > ports );
   // Gives up all other ports.
   void keepOnly( std::span< Kelnet::IntfId const > ports );

 private:
   // Claims beyond it are not made: descriptors are scarce.
   static constexpr std::size_t maxClaims = 512;

   Log& log_;
   std::map< std::string, Descriptor > claims_; // By name.
};

} // namespace Ufdd
