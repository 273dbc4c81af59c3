#pragma once

#include "agent/ports/PortSettingsStore.h"

namespace Ufdd {

// Keeps the settings of ports of one daemon for the next one of the same test.
struct SettingsInMemory final : PortSettingsStore {
   std::vector< PortSettings > recall() override { return all; }
   int remember( std::span< PortSettings const > now ) override {
      all.assign( now.begin(), now.end() );
      wasLost = false;
      return 0;
   }
   bool isLost() override { return wasLost; }
   void lose() {
      all.clear();
      wasLost = true;
   }
   std::string place() const override { return "here"; }

   std::vector< PortSettings > all;
   bool wasLost = false;
};

} // namespace Ufdd
