#include "tests/sim/PlainConfig.h"

#include <random>
#include <sstream>

namespace Simulation {

namespace {

std::string
listOf( Names const& names ) {
   std::string text;
   for ( std::string const& name : names )
      text += ( text.empty() ? "\"" : ", \"" ) + name + '"';
   return "[" + text + "]";
}

} // namespace

PlainConfig
PlainConfig::ofNumber( std::uint64_t number ) {
   std::mt19937_64 random( number );
   auto const oneOf = [ & ]( std::vector< unsigned int > const& values ) {
      return values[ random() % values.size() ];
   };
   PlainConfig config;
   config.startupHold = oneOf( { 0, 0, 0, 5 } );
   config.asks = random() % 4 != 0;
   config.isLayered = random() % 3 == 0;
   for ( unsigned int level = 0; level < 3; ++level ) {
      PlainGroup group{ .name = "g" + std::to_string( level ) };
      for ( unsigned int i = 0; i < 4; ++i ) {
         if ( random() % 2 )
            group.monitor.insert( "u" + std::to_string( i ) );
         if ( i < level && config.isLayered && random() % 2 )
            group.monitor.insert( "d" + std::to_string( i ) );
         if ( i >= level && random() % 2 )
            group.disable.insert( "d" + std::to_string( i ) );
      }
      group.minLinks = oneOf( { 0, 1, 1, 1, 2 } );
      group.recoveryDelay = oneOf( { 0, 0, 2, 3 } );
      group.downDelay = oneOf( { 0, 0, 1, 2 } );
      group.dryRun = random() % 8 == 0;
      if ( random() % 4 )
         config.groups.push_back( group );
   }
   return config;
}

std::string
PlainConfig::toml() const {
   std::ostringstream text;
   text << "startup_hold = " << startupHold << "\ndetection_interval = 100\ndetection = \""
        << ( asks ? "verify" : "events" ) << "\"\n";
   for ( PlainGroup const& group : groups )
      text << "[[group]]\nname = \"" << group.name << "\"\nmonitor = " << listOf( group.monitor )
           << "\ndisable = " << listOf( group.disable ) << "\nmin_links = " << group.minLinks
           << "\nrecovery_delay = " << group.recoveryDelay << "\ndown_delay = " << group.downDelay
           << "\ndry_run = " << ( group.dryRun ? "true\n" : "false\n" );
   return text.str();
}

} // namespace Simulation
