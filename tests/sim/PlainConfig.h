#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Simulation {

using Names = std::set< std::string >;

// Returns the number of names that are known.
inline unsigned int
among( Names const& names, Names const& known ) {
   return static_cast< unsigned int >( std::ranges::count_if(
       names, [ & ]( std::string const& name ) { return known.contains( name ); } ) );
}

struct PlainGroup {
   std::string name;
   Names monitor = {}, disable = {};
   unsigned int minLinks = 1, recoverLinks = 1, recoveryDelay = 0, recoveryDelayMax = 0,
                downDelay = 0;
   bool dryRun = false, allowsDefaultRoute = false, awaitsRoute = false;
   bool enabled = true, forceDown = false, autoRecover = true;

   bool operator==( PlainGroup const& ) const = default;
};

// A random configuration of the daemon, always the same for the same number.
struct PlainConfig {
   explicit PlainConfig( std::uint64_t number ) {
      std::mt19937_64 random( number );
      auto const oneOf = [ & ]( std::initializer_list< unsigned int > values ) {
         return values.begin()[ random() % values.size() ];
      };
      startupHold = oneOf( { 0, 0, 5, 5 } );
      detection = std::array{ "events", "verify", "auto", "auto" }[ random() % 4 ];
      asks = detection != "events";
      isLayered = random() % 3 == 0;
      for ( unsigned int level = 0; level < 3; ++level ) {
         PlainGroup group{ "g" + std::to_string( level ) };
         for ( unsigned int i = 0; i < 4; ++i ) {
            if ( random() % 2 )
               group.monitor.insert( "u" + std::to_string( i ) );
            if ( i < level && isLayered && random() % 2 )
               group.monitor.insert( "d" + std::to_string( i ) );
            if ( i >= level && random() % 2 )
               group.disable.insert( "d" + std::to_string( i ) );
         }
         // A group must monitor something, and not less than it needs.
         if ( group.monitor.empty() )
            group.monitor.insert( "u0" );
         // There is such a link only once another one is renamed.
         if ( random() % 4 == 0 )
            group.monitor.insert( "u5" );
         group.minLinks = std::min( oneOf( { 0, 1, 1, 1, 2 } ),
                                    static_cast< unsigned int >( group.monitor.size() ) );
         group.recoverLinks = group.minLinks;
         if ( group.minLinks > 0 && random() % 2 )
            group.recoverLinks += static_cast< unsigned int >(
                random() % ( group.monitor.size() + 1 - group.minLinks ) );
         group.recoveryDelay = oneOf( { 0, 0, 2, 3 } );
         group.recoveryDelayMax = oneOf( { 0, 4, 8, 8 } );
         group.downDelay = oneOf( { 0, 0, 1, 2 } );
         group.dryRun = random() % 8 == 0;
         group.allowsDefaultRoute = random() % 3 == 0;
         group.awaitsRoute = random() % 3 == 0;
         group.enabled = random() % 12 != 0;
         group.forceDown = random() % 12 == 0 && group.enabled;
         group.autoRecover = random() % 4 != 0;
         if ( random() % 4 )
            groups.push_back( group );
      }
      protectsSafe = random() % 2;
   }

   static constexpr unsigned int releaseTimeout = 1; // In seconds.
   static constexpr unsigned int checks = 4;         // Of the uplinks u0, u1, ...

   std::string toml() const {
      std::ostringstream text;
      text << ( protectsSafe ? "protect = [ \"safe\" ]\n" : "" )
           << "mass_failure_delay = 0\nstartup_hold = " << startupHold
           << "\ndetection_interval = 100\ndetection_idle_interval = 1000\ndetection = \""
           << detection << "\"\n";
      for ( PlainGroup const& group : groups )
         text << "[[group]]\nname = \"" << group.name << "\"\nmonitor = " << list( group.monitor )
              << "\ndisable = " << list( group.disable ) << "\nmin_links = " << group.minLinks
              << ( group.recoverLinks > group.minLinks
                       ? "\nrecover_links = " + std::to_string( group.recoverLinks )
                       : "" )
              << "\nrecovery_delay = " << group.recoveryDelay
              << "\nrecovery_delay_max = " << group.recoveryDelayMax
              << "\ndown_delay = " << group.downDelay << "\ndry_run = " << flag( group.dryRun )
              << "enabled = " << flag( group.enabled ) << "force_down = " << flag( group.forceDown )
              << "auto_recover = " << flag( group.autoRecover )
              << "allow_default_route = " << flag( group.allowsDefaultRoute )
              << "release_when = " << list( group.awaitsRoute ? Names{ "default-route" } : Names() )
              << "\nrelease_timeout = " << releaseTimeout << '\n';
      // One report is a verdict, and stands.
      for ( unsigned int i = 0; i < checks; ++i )
         text << "[[check]]\nname = \"c" << i << "\"\nuplinks = [ \"u" << i
              << "\" ]\nkind = \"reported\"\nrise = 1\nfall = 1\nttl = 86400\n";
      return text.str();
   }

   // Returns what the daemon logs when this configuration replaces `other`.
   std::string differenceFrom( PlainConfig const& other ) const {
      unsigned int added = 0, changed = 0;
      for ( PlainGroup const& group : groups ) {
         auto const before =
             std::find_if( other.groups.begin(), other.groups.end(),
                           [ & ]( auto const& g ) { return g.name == group.name; } );
         added += before == other.groups.end();
         changed += before != other.groups.end() && *before != group;
      }
      return "groups added " + std::to_string( added ) + ", changed " + std::to_string( changed ) +
             ", removed " + std::to_string( other.groups.size() + added - groups.size() );
   }

   std::vector< PlainGroup > groups;
   unsigned int startupHold;
   std::string detection;
   bool asks;         // The daemon queries uplinks after a message.
   bool protectsSafe; // Of the link with that name, and of the members of a LAG with it.
   bool isLayered;    // Groups monitor ports of others, but not in a circle.

 private:
   static std::string flag( bool value ) { return value ? "true\n" : "false\n"; }
   static std::string list( Names const& names ) {
      std::string text;
      for ( std::string const& name : names )
         text += ( text.empty() ? "\"" : ", \"" ) + name + '"';
      return "[" + text + "]";
   }
};

} // namespace Simulation
