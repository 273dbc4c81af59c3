#pragma once

#include "agent/Ownership.h"

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
   int remember( std::span< Holding const > now ) override {
      meanwhile();
      hasFailed = isFull;
      if ( isFull )
         return ENOSPC;
      holdings.clear();
      overrides.clear();
      for ( Holding const& holding : now )
         ( holding.isOverridden ? overrides : holdings ).push_back( holding );
      meanwhile();
      return 0;
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
