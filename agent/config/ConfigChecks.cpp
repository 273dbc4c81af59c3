#include "agent/config/ConfigChecks.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace Ufdd {

namespace {

// One group disables an interface that another group monitors. When the first goes down, the other
// loses that uplink.
struct Edge {
   std::size_t to;     // The index of the other group.
   std::string port;   // The interface's name in the first group.
   std::string uplink; // Its name in the other group.
};
using Edges = std::vector< std::vector< Edge > >;

Edges
edgesOf( SystemView const& system, std::vector< GroupSettings > const& groups ) {
   // By main name: the groups that monitor the interface, each with its name for it.
   std::map< std::string, std::vector< std::pair< std::size_t, std::string > > > monitoring;
   for ( std::size_t i = 0; i < groups.size(); ++i )
      for ( auto const& [ uplink, place ] : groups[ i ].monitorPlaces )
         for ( std::string const& interface : system.interfacesOf( uplink ) )
            monitoring[ interface ].emplace_back( i, uplink );
   Edges edges( groups.size() );
   for ( std::size_t i = 0; i < groups.size(); ++i )
      for ( auto const& [ port, place ] : groups[ i ].disablePlaces )
         for ( std::string const& interface : system.interfacesOf( port ) )
            if ( auto const at = monitoring.find( interface ); at != monitoring.end() )
               for ( auto const& [ to, uplink ] : at->second )
                  if ( to != i )
                     edges[ i ].push_back( { to, port, uplink } );
   return edges;
}

// Returns the shortest way from a group back to itself, over groups that come after it in the file;
// or nothing. Each cycle is found once, from its first group.
std::vector< std::pair< std::size_t, Edge const* > >
cycleFrom( std::size_t start, Edges const& edges ) {
   std::map< std::size_t, std::pair< std::size_t, Edge const* > > cameFrom;
   std::deque< std::size_t > queue{ start };
   while ( !queue.empty() && !cameFrom.contains( start ) ) {
      std::size_t const from = queue.front();
      queue.pop_front();
      for ( Edge const& edge : edges[ from ] )
         if ( edge.to >= start && cameFrom.try_emplace( edge.to, from, &edge ).second )
            queue.push_back( edge.to );
   }
   std::vector< std::pair< std::size_t, Edge const* > > way;
   if ( !cameFrom.contains( start ) )
      return way;
   std::size_t at = start;
   do {
      way.push_back( cameFrom.at( at ) );
      at = way.back().first;
   } while ( at != start );
   std::reverse( way.begin(), way.end() );
   return way;
}

void
checkCycles( SystemView const& system, std::vector< GroupSettings > const& groups,
             Findings& findings ) {
   Edges const edges = edgesOf( system, groups );
   for ( std::size_t i = 0; i < groups.size(); ++i ) {
      auto const way = cycleFrom( i, edges );
      if ( way.empty() )
         continue;
      std::string text;
      for ( auto const& [ from, edge ] : way )
         text += "group " + quoted( groups[ from ].name() ) + " disables " + quoted( edge->port ) +
                 ", which group " + quoted( groups[ edge->to ].name() ) + " monitors" +
                 ( edge->uplink == edge->port ? "; " : " as " + quoted( edge->uplink ) + "; " );
      findings.error( groups[ i ].disablePlaces.at( way.front().second->port ),
                      text + "once down, they would keep each other down; break the circle" );
   }
}

void
checkCount( GroupSettings const& group, Findings& findings ) {
   std::size_t const monitored = group.monitorPlaces.size();
   unsigned int const minLinks = group.config->minLinks();
   std::string const subject = "group " + quoted( group.name() ) + " monitors ";
   if ( monitored == 0 )
      findings.warning( group.place, subject + "no interface: its ports are " +
                                         ( minLinks > 0 ? "always" : "never" ) + " shut" );
   else if ( monitored < minLinks )
      findings.warning( group.place, subject + std::to_string( monitored ) +
                                         ( monitored == 1 ? " interface" : " interfaces" ) +
                                         ", fewer than its min_links, " +
                                         std::to_string( minLinks ) +
                                         ": its ports are always shut" );
   else if ( minLinks == 0 )
      findings.warning( group.place, "group " + quoted( group.name() ) +
                                         " has a min_links of 0: its ports are never shut" );
   if ( group.disablePlaces.empty() )
      findings.warning( group.place, "group " + quoted( group.name() ) +
                                         " disables no port: only its status is reported" );
}

// Warns of an uplink that runs on a port of its own group: once the port is shut, the uplink can't
// come back.
void
checkLower( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   std::map< std::string, std::string > uplinkOn; // By the interface that the uplink runs on.
   for ( auto const& [ uplink, place ] : group.monitorPlaces )
      for ( std::string const& interface : system.interfacesOf( uplink ) )
         if ( auto const at = system.runsOn.find( interface ); at != system.runsOn.end() )
            for ( std::string const& lower : at->second )
               uplinkOn.emplace( lower, uplink );
   for ( auto const& [ port, place ] : group.disablePlaces )
      for ( std::string const& interface : system.interfacesOf( port ) )
         if ( auto const at = uplinkOn.find( interface ); at != uplinkOn.end() )
            findings.warning( place, "the uplink " + quoted( at->second ) + " runs on " +
                                         quoted( port ) +
                                         ", which this group disables: once down, it may stay "
                                         "down" );
}

// Refuses an interface that a group lists twice, perhaps by two names: it would count twice as an
// uplink, or be shut for its own failure.
void
checkNames( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   std::map< std::string, std::string > nameOf; // By main name: the name that the group lists.
   auto const check = [ & ]( std::string const& name, Place place ) {
      auto const meant = system.interfacesOf( name );
      for ( std::string const& interface : meant ) {
         auto const [ at, isNew ] = nameOf.try_emplace( interface, name );
         if ( isNew )
            continue;
         std::string const& other = at->second;
         auto const meantByOther = system.interfacesOf( other );
         std::string const which = quoted( other ) + ", which is in this group as well; list ";
         if ( name == other )
            findings.error( place, quoted( name ) +
                                       " is monitored and disabled by this group; remove it from "
                                       "one of the two lists" );
         else if ( meant == meantByOther )
            findings.error( place, quoted( name ) + " is another name of " + which + "it once" );
         else
            findings.error( place, quoted( name ) +
                                       ( meant.size() < meantByOther.size() ? " is a member of "
                                                                            : " has the member " ) +
                                       which + "either the LAG or its members" );
         return;
      }
   };
   for ( auto const* const places : { &group.monitorPlaces, &group.disablePlaces } )
      for ( auto const& [ name, place ] : *places )
         check( name, place );
}

void
checkDefaultRoute( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   for ( auto const& [ port, place ] : group.disablePlaces ) {
      auto const meant = system.interfacesOf( port );
      if ( std::any_of( meant.begin(), meant.end(), [ & ]( std::string const& interface ) {
              return system.defaultRoute.contains( interface );
           } ) )
         findings.warning( place, quoted( port ) + " carries this machine's default route, "
                                                   "which is lost while the port is shut" );
   }
}

} // namespace

void
checkGroups( SystemView const& system, std::vector< GroupSettings > const& groups,
             Findings& findings ) {
   checkCycles( system, groups, findings );
   for ( GroupSettings const& group : groups ) {
      checkCount( group, findings );
      checkNames( system, group, findings );
      checkLower( system, group, findings );
      checkDefaultRoute( system, group, findings );
   }
}

void
noteAbsent( SystemView const& system, std::vector< GroupSettings > const& groups,
            Findings& findings ) {
   std::set< std::string_view > noted;
   for ( GroupSettings const& group : groups )
      for ( auto const* const places : { &group.monitorPlaces, &group.disablePlaces } )
         for ( auto const& [ name, place ] : *places )
            if ( !system.interfaces.contains( name ) && noted.insert( name ).second )
               findings.note( place, "there is no interface " + quoted( name ) + " yet" );
}

} // namespace Ufdd
