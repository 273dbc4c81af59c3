#pragma once

#include "agent/base/Never.h"
#include "agent/state/OrderKind.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace Ufdd {

// What an operator has ordered about one group or port. It stands until it is taken back or over,
// and wins over what the configuration says of the group.
struct Order {
   OrderKind kind = OrderKind::down; // Never `none`.
   bool isForced = false;            // Also shuts a port that carries the default route.
   unsigned int uid = 0;             // Of the operator.
   // By Zet::now(), a clock of the machine that the next ufdd has as well.
   double since = 0;
   double until = never;
   std::string reason = {}; // In the operator's words.

   bool operator==( Order const& ) const = default;
};

// All that the next ufdd has to know of what operators have done, by the names of groups and ports.
struct OrderBook {
   using Orders = std::map< std::string, Order, std::less<> >;
   // A group, and a port that it keeps shut although it is up: only an operator clears that.
   using Latch = std::pair< std::string, std::string >;
   using Latches = std::set< Latch >;

   Orders groups;
   Orders ports; // All of kind `down`.
   Latches latches;

   // Returns what is ordered about the group of that name.
   OrderKind ofGroup( std::string_view name ) const {
      auto const at = groups.find( name );
      return at == groups.end() ? OrderKind::none : at->second.kind;
   }
   bool isEmpty() const { return groups.empty() && ports.empty() && latches.empty(); }
   bool operator==( OrderBook const& ) const = default;
};

} // namespace Ufdd
