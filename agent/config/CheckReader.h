#pragma once

#include "agent/config/CheckSettings.h"
#include "agent/config/OptionReader.h"

#include <map>
#include <string>

namespace Ufdd {

// Reads the [[check]] tables of one file. Reports errors and goes on.
class CheckReader {
 public:
   // Borrows: findings.
   explicit CheckReader( Findings& findings ) : findings_( findings ) {}

   CheckSettings read( toml::table const& table );

 private:
   void checkKeys( toml::table const& table, unsigned int kinds );
   void readName( toml::table const& table, CheckSettings& check );
   void readUplinks( toml::table const& table, CheckSettings& check );
   void readAddress( toml::table const& table, CheckSettings& check );
   void readCommand( toml::table const& table, CheckSettings& check );
   void readTimes( toml::table const& table, CheckSettings& check );

   Findings& findings_;
   OptionReader options_{ findings_ };
   std::map< std::string, Place, std::less<> > places_; // Of the checks so far, by name.
};

} // namespace Ufdd
