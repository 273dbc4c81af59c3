#pragma once

#include "agent/orders/OrderStore.h"

#include <cerrno>
#include <functional>

namespace Ufdd {

// Keeps the orders of one daemon for the next one of the same test.
struct OrdersInMemory final : OrderStore {
   Recollection recall() override { return { book }; }
   int remember( OrderBook const& now ) override {
      meanwhile();
      if ( isFull )
         return ENOSPC;
      book = now;
      isGone = false;
      meanwhile();
      return 0;
   }
   bool isLost() const override { return isGone; }
   std::string place() const override { return "here"; }

   void remove() {
      isGone |= !book.isEmpty();
      book = {};
   }

   OrderBook book;
   bool isFull = false;
   bool isGone = false;
   std::function< void() > meanwhile = [] {}; // Called before and after each change.
};

} // namespace Ufdd
