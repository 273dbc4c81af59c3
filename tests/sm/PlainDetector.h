#pragma once

#include "tests/support/Scenario.h"

#include <map>
#include <string>
#include <vector>

namespace Scenario {

// What the detector is to do, said as plainly as can be: the oracle of the real one.
class PlainDetector {
 public:
   // `replace` is beyond it.
   void apply( Event const& event );
   // As those of World.
   std::string state() const;
   std::string heard() { return std::exchange( heard_, {} ); }

 private:
   // The order of collections.
   struct InOrder {
      bool operator()( char left, char right ) const;
   };
   template < class Value > using Collection = std::map< char, Value, InOrder >;
   struct Group {
      Collection< bool > monitored;
      Collection< bool > downstream;
      unsigned int minLinks = 1;
   };
   struct Record {
      std::string link = "unknown";
      unsigned int times = 0;
      double time = 0;
   };

   void startAll();
   void create( char group );
   void remove( char group );
   void handle( char group, char intf );
   void handleInAll( char intf );
   void check( char group, bool counts );
   void entryIs( char intf );
   void entryDel( char intf );
   void hear( std::string const& what );

   Collection< Group > config_;
   std::map< char, std::string > links_;
   std::map< char, double > entries_;
   std::map< char, Record > records_;
   std::map< char, Record > otherRecords_;
   double now_ = 0;
   bool runs_ = false;
   // In the order in which they came to watch: the groups the directory, per interface its status.
   std::vector< char > machines_;
   std::map< char, std::vector< char > > watchers_;
   std::string heard_;
};

} // namespace Scenario
