#include "agent/ConfigChecks.h"

#include <algorithm>
#include <deque>
#include <map>
#include <string>

namespace Ufdd {

namespace {

// A group that disables what another one monitors: that goes down with it.
struct Edge {
   std::size_t to;
   std::string port;
};
using Edges = std::vector< std::vector< Edge > >;

Edges
edgesOf( std::vector< GroupSettings > const& groups ) {
   std::map< std::string, std::vector< std::size_t > > monitoring;
   for ( std::size_t i = 0; i < groups.size(); ++i )
      for ( auto const& [ uplink, place ] : groups[ i ].monitorPlaces )
         monitoring[ uplink ].push_back( i );
   Edges edges( groups.size() );
   for ( std::size_t i = 0; i < groups.size(); ++i )
      for ( auto const& [ port, place ] : groups[ i ].disablePlaces )
         if ( auto const at = monitoring.find( port ); at != monitoring.end() )
            for ( std::size_t const to : at->second )
               if ( to != i )
                  edges[ i ].push_back( { to, port } );
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
checkCycles( std::vector< GroupSettings > const& groups, Findings& findings ) {
   Edges const edges = edgesOf( groups );
   for ( std::size_t i = 0; i < groups.size(); ++i ) {
      auto const way = cycleFrom( i, edges );
      if ( way.empty() )
         continue;
      std::string text;
      for ( auto const& [ from, edge ] : way )
         text += "group " + quoted( groups[ from ].name() ) + " disables " + quoted( edge->port ) +
                 ", which group " + quoted( groups[ edge->to ].name() ) + " monitors; ";
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
}

void
checkLags( SystemView const& system, GroupSettings const& group, Findings& findings ) {
   for ( auto const* const places : { &group.monitorPlaces, &group.disablePlaces } )
      for ( auto const& [ name, place ] : *places )
         if ( auto const lag = system.lagOf.find( name );
              lag != system.lagOf.end() && ( group.monitorPlaces.contains( lag->second ) ||
                                             group.disablePlaces.contains( lag->second ) ) )
            findings.error( place, quoted( name ) + " is a member of " + quoted( lag->second ) +
                                       ", which is in this group as well; list either the LAG or "
                                       "its members" );
}

} // namespace

void
checkGroups( std::vector< GroupSettings > const& groups, Findings& findings ) {
   checkCycles( groups, findings );
   for ( GroupSettings const& group : groups )
      checkCount( group, findings );
}

void
checkAgainst( SystemView const& system, std::vector< GroupSettings > const& groups,
              Findings& findings ) {
   for ( GroupSettings const& group : groups ) {
      checkLags( system, group, findings );
      for ( auto const& [ port, place ] : group.disablePlaces )
         if ( system.defaultRoute.contains( port ) )
            findings.warning( place, quoted( port ) + " carries this machine's default route, "
                                                      "which is lost while the port is shut" );
   }
}

} // namespace Ufdd
