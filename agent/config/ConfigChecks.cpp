#include "agent/config/ConfigChecks.h"

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace Ufdd {

namespace {

// A group that disables what another one monitors: that goes down with it.
struct Edge {
   std::size_t to;
   std::string port;
   std::string uplink; // How the other one calls it.
};
using Edges = std::vector< std::vector< Edge > >;

Edges
edgesOf( SystemView const& system, std::vector< GroupSettings > const& groups ) {
   // By the interface: the groups that monitor it, and how each calls it.
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

// The shortest way from a group back to it, over groups that come after it in the file: so each
// cycle is found once, from its first group. Empty when there is none.
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
                      text + "once down, they would hold each other down" );
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
                                         " disables no port: it is only told how it is" );
}

// An uplink that goes with a port that is shut for it does not come back.
void
checkLower( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   std::map< std::string, std::string > uplinkOn; // By the interface that it runs on.
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
                                         ", which this group disables: once down, it may stay so" );
}

// What is in a group under two names would count twice, or be shut by what it is to tell of.
void
checkNames( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   std::map< std::string, std::string > nameOf; // By the interface.
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
                                       " is monitored by this group and can't be disabled by it as "
                                       "well; remove it from one of the lists" );
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
               findings.note( place, "no interface " + quoted( name ) + " yet" );
}

} // namespace Ufdd
