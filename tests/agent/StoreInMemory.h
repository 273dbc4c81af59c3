#pragma once

#include "agent/ports/OwnedLinkStore.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace Ufdd {

// Keeps the record of one daemon for the next one of the same test.
class StoreInMemory final : public OwnedLinkStore {
 public:
   std::vector< OwnedLink > recall() override {
      std::vector< OwnedLink > all = links;
      all.insert( all.end(), overrides.begin(), overrides.end() );
      return all;
   }
   void add( std::span< OwnedLink const > more ) override {
      meanwhile();
      hasFailed = isFull;
      if ( !isFull )
         links.insert( links.end(), more.begin(), more.end() );
      meanwhile();
   }
   int remember( std::span< OwnedLink const > now ) override {
      meanwhile();
      std::vector< OwnedLink > const before = recall();
      links.clear();
      overrides.clear();
      hasFailed = false;
      for ( OwnedLink const& owned : now )
         if ( !isFull || std::count( before.begin(), before.end(), owned ) )
            ( owned.isOverridden ? overrides : links ).push_back( owned );
         else
            hasFailed = true;
      meanwhile();
      return hasFailed ? ENOSPC : 0;
   }
   std::string place() const override { return "here"; }
   // "d1 d2"
   std::string names() const {
      std::string text;
      for ( OwnedLink const& owned : links )
         text.append( text.empty() ? "" : " " ).append( owned.name.view() );
      return text;
   }

   std::vector< OwnedLink > links, overrides;
   bool isFull = false;
   bool hasFailed = false;                    // The last call could not record all.
   std::function< void() > meanwhile = [] {}; // Called before and after each change.
};

} // namespace Ufdd
