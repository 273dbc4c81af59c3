#pragma once

#include "agent/ports/Ownership.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace Ufdd {

// What a daemon owns, kept for the next one of the same test.
class RememberedHere final : public Ownership {
 public:
   std::vector< Holding > recall() override {
      std::vector< Holding > all = holdings;
      all.insert( all.end(), overrides.begin(), overrides.end() );
      return all;
   }
   void add( std::span< Holding const > more ) override {
      meanwhile();
      hasFailed = isFull;
      if ( !isFull )
         holdings.insert( holdings.end(), more.begin(), more.end() );
      meanwhile();
   }
   int remember( std::span< Holding const > now ) override {
      meanwhile();
      std::vector< Holding > const before = recall();
      holdings.clear();
      overrides.clear();
      hasFailed = false;
      for ( Holding const& holding : now )
         if ( !isFull || std::count( before.begin(), before.end(), holding ) )
            ( holding.isOverridden ? overrides : holdings ).push_back( holding );
         else
            hasFailed = true;
      meanwhile();
      return hasFailed ? ENOSPC : 0;
   }
   std::string place() const override { return "here"; }
   // "d1 d2"
   std::string names() const {
      std::string text;
      for ( Holding const& holding : holdings )
         text.append( text.empty() ? "" : " " ).append( holding.name.view() );
      return text;
   }

   std::vector< Holding > holdings, overrides;
   bool isFull = false;
   bool hasFailed = false;                    // The last time.
   std::function< void() > meanwhile = [] {}; // Called where anything can happen.
};

} // namespace Ufdd
