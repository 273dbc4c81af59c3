#pragma once

#include "agent/base/InterfaceName.h"
#include "agent/kernel/LinkControl.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// A link that we shut or are about to shut. An overridden one was ours until others had opened it
// so often that ufdd leaves it open.
struct OwnedLink {
   std::uint32_t index = 0;
   InterfaceName name;
   std::uint64_t address = 0; // Of the hardware, as in Link.
   LinkRequest::Means means = LinkRequest::Means::adminDown;
   unsigned int reason = 0; // As in LinkRequest; 0 where the means has none.
   bool isOverridden = false;

   bool operator==( OwnedLink const& ) const = default;
   // Returns true if `link` is shut as our act left it.
   bool isShut( Link const& link ) const { return LinkRequest::isShutBy( link, means, reason ); }
   // Returns true if our act on `link` still stands, even if it has no effect.
   bool isApplied( Link const& link ) const {
      return means == LinkRequest::Means::adminDown ? !link.adminUp
                                                    : link.hasProtoDownReason( reason );
   }
   // The request that opens it, on behalf of `port`.
   LinkRequest opening( Kelnet::IntfId port ) const {
      return { .index = index, .up = true, .means = means, .reason = reason, .port = port };
   }
};

// A record that can't be understood, or not all of it. It is kept, since ports that it names may
// have been left shut.
struct UnreadRecord {
   std::string place;   // Where it is now.
   std::string problem; // "has version 3, which this ufdd does not know"
   std::string text;    // Its bytes, as far as they could be read.
   bool isNew = true;   // It was the record until now; else it was kept aside before.
};

// Keeps the record of our links and overrides beyond the end of the process, however it ends.
class OwnedLinkStore {
 public:
   virtual ~OwnedLinkStore() = default;

   // Returns what was recorded since the machine booted, in this network namespace.
   virtual std::vector< OwnedLink > recall() = 0;
   // Returns the records that were found unreadable since the last call.
   virtual std::vector< UnreadRecord > takeUnread() { return {}; }
   // Adds links to the record, which is safe on return: ports wait to be shut meanwhile. Tells no
   // failure; the remember() that follows does.
   virtual void add( std::span< OwnedLink const > links ) = 0;
   // Makes the record exactly these, safe on return. Returns an errno value; unless that is 0,
   // links that were recorded before and are among these still are.
   virtual int remember( std::span< OwnedLink const > links ) = 0;
   // Looks whether the record was removed or replaced; then the next remember() writes it again.
   virtual bool isLost() = 0;
   // Where the record is, for the log.
   virtual std::string place() const = 0;
   // Returns what the errno value of the last remember() means there, and the remedy.
   virtual std::string explain( int error ) const = 0;
};

} // namespace Ufdd
