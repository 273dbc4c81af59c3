#pragma once

#include "agent/base/InterfaceName.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// An interface of the kernel, as its last message describes it.
struct Link {
   std::uint32_t index = 0; // The kernel's number for it as long as it exists; never 0.
   InterfaceName name;
   std::vector< std::string > altNames = {}; // Its alternative names.
   // The last 8 bytes of the hardware address: the permanent one, else the present one, else 0.
   std::uint64_t address = 0;
   bool hasPermanentAddress = false;
   bool adminUp = false; // Set up by its administrator (IFF_UP).
   bool carrier = false; // The layer below works (IFF_LOWER_UP).
   // The kernel's operational state, one of IF_OPER_...; may be older than `carrier`.
   std::uint8_t operState = 0;
   bool protoDown = false; // Kept without carrier, for the reasons below, a bit each.
   std::uint32_t protoDownReasons = 0;
   std::uint32_t master = 0; // The index of the bond, team or bridge that it belongs to, or 0.
   std::uint32_t lower = 0;  // The index of the link that it runs on, as a VLAN does; or 0.
   bool hasMoved = false;    // To another network namespace, as the message about its end says.
   bool isLag = false;       // A bond or team: its members carry its traffic.

   // Returns true if it can't be the link of the same index that had that address. An address that
   // is not permanent proves nothing: that of a bridge changes when a link joins it.
   bool isOtherThan( std::uint64_t formerAddress ) const {
      return hasPermanentAddress && address != formerAddress;
   }

   // The reasons are numbered from 0; ours is usualReason unless it is configured.
   static constexpr unsigned int maxReason = 31;
   static constexpr unsigned int usualReason = 5;
   static constexpr unsigned int noReason = maxReason + 1; // No link has it.
   bool hasProtoDownReason( unsigned int number ) const {
      return number <= maxReason && ( protoDownReasons >> number & 1 );
   }
};

// Hears of changes of links.
class LinkListener {
 public:
   // Delivers all links; any other one is gone.
   virtual void handleLinks( std::span< Link const > links ) = 0;
   // Delivers a link that a message tells of: it is new, or has changed, perhaps its name, or is as
   // it was.
   virtual void handleLink( Link const& link ) = 0;
   // A link was moved to another network namespace. handleLinkGone() follows.
   virtual void handleLinkMoved( std::uint32_t /*index*/ ) {}
   // A link was deleted or moved to another namespace. It may never have been delivered.
   virtual void handleLinkGone( std::uint32_t index ) = 0;

 protected:
   ~LinkListener() = default;
};

// Delivers messages about links, and answers queries of single ones: the kernel, or a stand-in.
class LinkSource {
 public:
   virtual ~LinkSource() = default;

   // Delivers all links to `listener` before it returns, and every change from then on.
   // Borrows: listener, for as long as the source exists.
   // Throws: std::system_error when the links can't be read.
   virtual void start( LinkListener& listener ) = 0;

   // Returns true if the link has carrier at this moment, perhaps before a message says so. Returns
   // nothing when its driver doesn't say, or there is no such link.
   virtual std::optional< bool > carrier( InterfaceName const& name ) = 0;
   // Queries these links and delivers the answers, and any pending messages in order, before it
   // returns. With no indexes, delivers only the pending messages. A link that is gone has no
   // answer. Returns true if messages have come since tookMessages(), beside answers.
   virtual bool query( std::span< std::uint32_t const > indexes ) = 0;

   // Goes on with reading all links after messages were lost. Call at the end of each turn of the
   // loop, once started. Returns false while links are unknown: call it each second then, even if
   // nothing else happens.
   virtual bool recover() = 0;
   // Returns true if messages have come since the last call, beside answers to query().
   virtual bool tookMessages() = 0;
   // Returns what went wrong since the last call and its consequence, or nothing.
   virtual std::string takeTrouble() = 0;
};

} // namespace Ufdd
