#pragma once

#include "agent/ports/OwnedLinkStore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Ufdd {

// Keeps the record of one daemon for the next one of the same test.
class StoreInMemory final : public OwnedLinkStore {
 public:
   std::vector< OwnedLink > recall() override {
      removed.clear();
      return all();
   }
   std::vector< OwnedLink > all() const {
      std::vector< OwnedLink > both = links;
      both.insert( both.end(), overrides.begin(), overrides.end() );
      return both;
   }
   void add( std::span< OwnedLink const > more ) override {
      meanwhile();
      hasFailed = isFull;
      if ( !isFull && std::exchange( wasRemoved, false ) )
         std::swap( links, removed );
      if ( !isFull )
         links.insert( links.end(), more.begin(), more.end() );
      meanwhile();
   }
   int remember( std::span< OwnedLink const > now ) override {
      meanwhile();
      std::vector< OwnedLink > const before = all();
      links.clear();
      overrides.clear();
      hasFailed = wasRemoved = false;
      for ( OwnedLink const& owned : now )
         if ( !isFull || std::count( before.begin(), before.end(), owned ) )
            ( owned.isOverridden ? overrides : links ).push_back( owned );
         else
            hasFailed = true;
      meanwhile();
      return hasFailed ? ENOSPC : 0;
   }
   bool isLost() override { return wasRemoved; }
   std::string place() const override { return "here"; }
   std::string explain( int error ) const override { return std::strerror( error ); }
   // "d1 d2"
   std::string names() const {
      std::string text;
      for ( OwnedLink const& owned : links )
         text.append( text.empty() ? "" : " " ).append( owned.name.view() );
      return text;
   }

   void remove() {
      if ( !std::exchange( wasRemoved, true ) )
         removed = std::exchange( links, {} );
      overrides.clear();
   }

   std::vector< OwnedLink > links, overrides;
   std::vector< OwnedLink > removed; // The daemon still knows them.
   bool isFull = false;
   bool wasRemoved = false;                   // Since the last remember().
   bool hasFailed = false;                    // The last call could not record all.
   std::function< void() > meanwhile = [] {}; // Called before and after each change.
};

} // namespace Ufdd
