#pragma once

#include "agent/base/InterfaceName.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Ufdd {

// An interface as the kernel tells of it.
struct Link {
   std::uint32_t index = 0; // The kernel's, never 0; of one interface for as long as it exists.
   InterfaceName name;
   std::vector< std::string > altNames = {}; // By which it can be called as well.
   // Of the hardware, the last 8 bytes: the permanent one, else the present one; 0 without one.
   std::uint64_t address = 0;
   bool hasPermanentAddress = false;
   bool adminUp = false; // Set up by its administrator (IFF_UP).
   bool carrier = false; // The layer below works (IFF_LOWER_UP).
   // What the kernel makes of that, one of IF_OPER_...; may be older than the carrier.
   std::uint8_t operState = 0;
   bool protoDown = false; // Kept without carrier, for these reasons, a bit each.
   std::uint32_t protoDownReasons = 0;
   std::uint32_t master = 0; // The index of the interface that it is a part of, or 0.
   bool isLag = false;       // Its parts carry its traffic, as those of a bond or a team do.

   // Whether it can't be the link of that index that had that address: a present one may change, as
   // that of a bridge does when a port joins it, and indexes are hardly ever used again.
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

// Hears what happens to the interfaces.
class LinkListener {
 public:
   // All that there are: an interface that is not among them is gone.
   virtual void handleLinks( std::span< Link const > links ) = 0;
   // One that is new or that changed, be it its name.
   virtual void handleLink( Link const& link ) = 0;
   // One that was deleted or moved away; it may be one that was never heard of.
   virtual void handleLinkGone( std::uint32_t index ) = 0;

 protected:
   ~LinkListener() = default;
};

// Where news of interfaces come from, and who answers for single ones: the kernel, or a stand-in.
class LinkSource {
 public:
   virtual ~LinkSource() = default;

   // Tells `listener` of all links, complete, before it returns, and of every change from then
   // on. Borrows: listener, for as long as the source exists.
   // Throws: std::system_error when the links can't be read.
   virtual void start( LinkListener& listener ) = 0;

   // Whether a link has carrier at this moment, which may be before there is news of it. None when
   // that isn't told, or when there is no such link.
   virtual std::optional< bool > carrier( InterfaceName const& name ) = 0;
   // Has the listener told of these links, as they are now, before it returns. Whatever else there
   // is to be told comes in order with that; with no index, that alone. One that is gone is not
   // told of.
   virtual void ask( std::span< std::uint32_t const > indexes ) = 0;

   // The end of a loop turn, once started. False while links are being read again: it has to be
   // called each second then, though nothing else happens.
   virtual bool settle() = 0;
   // Whether anything happened since the last call, other than that ask() was answered.
   virtual bool takeNews() = 0;
   // What went wrong since the last call, and what comes of it; or empty.
   virtual std::string takeTrouble() = 0;
};

} // namespace Ufdd
