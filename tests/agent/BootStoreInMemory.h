#pragma once

#include "agent/detect/BootStore.h"

#include <cerrno>

namespace Ufdd {

// Keeps the record of one daemon for the next one of the same test.
struct BootStoreInMemory final : BootStore {
   std::optional< BootRecord > recall() override { return record; }
   int remember( BootRecord const& now ) override {
      if ( isFull )
         return ENOSPC;
      record = now;
      return 0;
   }
   bool isLost() const override { return !record; }
   std::string place() const override { return "here"; }

   std::optional< BootRecord > record;
   bool isFull = false;
};

} // namespace Ufdd
