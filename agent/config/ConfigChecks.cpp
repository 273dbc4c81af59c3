#include "agent/config/ConfigChecks.h"

#include "agent/base/NearestWord.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Ufdd {

namespace {

// Finds circles of groups. In a circle each group disables an uplink of the next one. Once one
// group goes down, all of them would stay down. Groups and interfaces are the points of a graph; an
// arrow leads from a group to each port that it disables, and from an interface to each group that
// monitors it.
class Circles {
 public:
   Circles( SystemView const& system, std::vector< GroupSettings > const& groups );

   struct Step {
      std::size_t from, to;          // The indexes of two groups.
      std::string_view port, uplink; // The names of the interface between, in either group.
   };
   // Takes a circle out of the graph. Returns its steps, from its first group on; or nothing when
   // no circle is left.
   std::vector< Step > take();

 private:
   struct Point {
      std::vector< std::pair< std::size_t, std::string_view > > after; // With the group's name for
                                                                       // the interface.
      std::vector< std::size_t > before;
      std::size_t leftBefore = 0; // Number of arrows from points that are left.
      bool isLeft = true;
   };

   void connect( std::size_t from, std::size_t to, std::string_view name );
   // Removes the point, and all points that are on no circle then.
   void remove( std::size_t point );
   // Returns the group's name for the interface that the arrow connects it with.
   std::string_view nameOn( std::size_t from, std::size_t to ) const;

   std::vector< Point > points_; // The groups, by their indexes, then the interfaces.
   std::size_t const groups_;
   std::size_t firstLeft_ = 0; // No group before it is left.
};

Circles::Circles( SystemView const& system, std::vector< GroupSettings > const& groups )
    : points_( groups.size() ), groups_( groups.size() ) {
   std::map< std::string, std::size_t > interfaces; // The point of each, by main name.
   auto const pointOf = [ & ]( std::string const& interface ) {
      auto const [ at, isNew ] = interfaces.try_emplace( interface, points_.size() );
      if ( isNew )
         points_.emplace_back();
      return at->second;
   };
   for ( std::size_t i = 0; i < groups_; ++i ) {
      std::set< std::size_t > own;
      for ( auto const& [ uplink, place ] : groups[ i ].monitorPlaces )
         for ( std::string const& interface : system.interfacesOf( uplink ) ) {
            std::size_t const point = pointOf( interface );
            own.insert( point );
            connect( point, i, uplink );
         }
      // A group that disables its own uplink is an error by itself.
      for ( auto const& [ port, place ] : groups[ i ].disablePlaces )
         for ( std::string const& interface : system.interfacesOf( port ) )
            if ( std::size_t const point = pointOf( interface ); !own.contains( point ) )
               connect( i, point, port );
   }
   for ( std::size_t i = 0; i < points_.size(); ++i )
      if ( points_[ i ].isLeft && points_[ i ].leftBefore == 0 )
         remove( i );
}

void
Circles::connect( std::size_t from, std::size_t to, std::string_view name ) {
   points_[ from ].after.emplace_back( to, name );
   points_[ to ].before.push_back( from );
   ++points_[ to ].leftBefore;
}

void
Circles::remove( std::size_t point ) {
   points_[ point ].isLeft = false;
   for ( std::vector< std::size_t > queue{ point }; !queue.empty(); ) {
      Point const& gone = points_[ queue.back() ];
      queue.pop_back();
      for ( auto const& [ to, name ] : gone.after )
         if ( --points_[ to ].leftBefore == 0 && std::exchange( points_[ to ].isLeft, false ) )
            queue.push_back( to );
   }
}

std::vector< Circles::Step >
Circles::take() {
   while ( firstLeft_ < groups_ && !points_[ firstLeft_ ].isLeft )
      ++firstLeft_;
   if ( firstLeft_ == groups_ )
      return {};
   // Every point that is left has one before it, so this way back comes to a point twice.
   std::vector< std::size_t > way;
   std::map< std::size_t, std::size_t > visited; // The places in `way`, by point.
   std::size_t at = firstLeft_;
   while ( visited.try_emplace( at, way.size() ).second ) {
      way.push_back( at );
      at = *std::ranges::find_if( points_[ at ].before,
                                  [ & ]( std::size_t from ) { return points_[ from ].isLeft; } );
   }
   way.erase( way.begin(), way.begin() + static_cast< std::ptrdiff_t >( visited.at( at ) ) );
   std::ranges::reverse( way );
   // The groups have the lowest indexes.
   std::rotate( way.begin(), std::ranges::min_element( way ), way.end() );
   std::vector< Step > steps;
   for ( std::size_t i = 0; i < way.size(); i += 2 ) {
      std::size_t const to = way[ ( i + 2 ) % way.size() ];
      steps.push_back(
          { way[ i ], to, nameOn( way[ i ], way[ i + 1 ] ), nameOn( way[ i + 1 ], to ) } );
   }
   remove( way.front() );
   return steps;
}

std::string_view
Circles::nameOn( std::size_t from, std::size_t to ) const {
   return std::ranges::find( points_[ from ].after, to,
                             []( auto const& arrow ) { return arrow.first; } )
       ->second;
}

void
checkCircles( SystemView const& system, std::vector< GroupSettings > const& groups,
              Findings& findings ) {
   constexpr std::size_t maxShown = 8;
   Circles circles( system, groups );
   for ( std::size_t n = 0; n < Findings::maxListed; ++n ) {
      auto const circle = circles.take();
      if ( circle.empty() )
         return;
      std::string text;
      for ( auto const& [ from, to, port, uplink ] :
            std::span( circle ).first( std::min( circle.size(), maxShown ) ) )
         text += "group " + inQuotes( groups[ from ].name() ) + " disables " + inQuotes( port ) +
                 ", which group " + inQuotes( groups[ to ].name() ) + " monitors" +
                 ( uplink == port ? "; " : " as " + inQuotes( uplink ) + "; " );
      if ( circle.size() > maxShown )
         text += "... and so on, over " + std::to_string( circle.size() ) + " groups; ";
      findings.error(
          groups[ circle.front().from ].disablePlaces.find( circle.front().port )->second,
          text + "once down, they would keep each other down; break the circle" );
   }
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
            findings.warning( place, "the uplink " + inQuotes( at->second ) + " runs on " +
                                         inQuotes( port ) +
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
         std::string const which = inQuotes( other ) + ", which is in this group as well; list ";
         if ( name == other )
            findings.error( place, inQuotes( name ) +
                                       " is monitored and disabled by this group; remove it from "
                                       "one of the two lists" );
         else if ( meant == meantByOther )
            findings.error( place, inQuotes( name ) + " is another name of " + which + "it once" );
         else
            findings.error( place, inQuotes( name ) +
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

// Returns the main names of all uplinks.
std::set< std::string >
uplinksOf( SystemView const& system, std::vector< GroupSettings > const& groups ) {
   std::set< std::string > uplinks;
   for ( GroupSettings const& group : groups )
      for ( auto const& [ uplink, place ] : group.monitorPlaces )
         uplinks.merge( system.interfacesOf( uplink ) );
   return uplinks;
}

// `carriers` are the main names of the links that carry the default route.
void
checkDefaultRoute( SystemView const& system, std::set< std::string > const& carriers,
                   GroupSettings const& group, Findings& findings ) {
   for ( auto const& [ port, place ] : group.disablePlaces )
      if ( auto const meant = system.interfacesOf( port );
           std::ranges::any_of( meant, [ & ]( std::string const& interface ) {
              return carriers.contains( interface );
           } ) )
         findings.warning(
             place, inQuotes( port ) + " carries this machine's default route " +
                        ( group.policy.allowDefaultRoute
                              ? "and is shut all the same (allow_default_route)"
                              : "and is not shut while it does; to shut it all the same, set "
                                "allow_default_route = true" ) );
}

} // namespace

void
checkCounts( GroupSettings const& group, Findings& findings ) {
   std::size_t const monitored = group.monitorPlaces.size();
   unsigned int const minLinks = group.config->minLinks();
   unsigned int const recoverLinks = group.policy.recoverLinks;
   std::string const subject = "group " + inQuotes( group.name() );
   std::string const monitors = " monitors " + std::to_string( monitored ) +
                                ( monitored == 1 ? " interface" : " interfaces" );
   if ( monitored == 0 )
      findings.error( group.place,
                      subject + " monitors no interface; list its uplinks in monitor" );
   else if ( monitored < minLinks )
      findings.error( group.place, subject + monitors + ", fewer than its min_links, " +
                                       std::to_string( minLinks ) +
                                       ", so that its ports would always be shut; list more "
                                       "uplinks or lower min_links" );
   else if ( monitored < recoverLinks )
      findings.error( group.place, subject + monitors + ", fewer than its recover_links, " +
                                       std::to_string( recoverLinks ) +
                                       ", so that its ports would never be opened again; list "
                                       "more uplinks or lower recover_links" );
   else if ( recoverLinks != 0 && recoverLinks < minLinks )
      findings.error( group.place,
                      subject + " needs " + std::to_string( minLinks ) +
                          " uplinks to stay up, but only " + std::to_string( recoverLinks ) +
                          " to come up again; recover_links or recover_percent must be at least "
                          "min_links or min_percent" );
   else if ( minLinks == 0 )
      findings.note( group.place, subject + " has a min_links of 0: its ports are never shut" );
   if ( minLinks == 0 && recoverLinks != 0 )
      findings.warning( group.place, subject + " has a min_links of 0, so that it never goes down: "
                                               "recover_links has no effect" );
   if ( group.disablePlaces.empty() )
      findings.warning( group.place, subject + " disables no port: only its status is reported" );
}

void
checkSwitches( GroupSettings const& group, Findings& findings ) {
   std::string const subject = "group " + inQuotes( group.name() );
   if ( !group.policy.enabled && group.policy.forceDown )
      findings.error( group.place, subject + " has enabled = false and force_down = true, which "
                                             "contradict each other; remove one of the two" );
   else if ( group.policy.dryRun && group.policy.forceDown )
      findings.warning( group.place, subject + " has force_down = true, which has no effect in "
                                               "dry_run: its ports are not shut" );
}

void
checkGroups( SystemView const& system, std::vector< GroupSettings > const& groups,
             Findings& findings ) {
   checkCircles( system, groups, findings );
   auto const carriers = system.defaultRouteLinks( uplinksOf( system, groups ) );
   for ( GroupSettings const& group : groups ) {
      checkNames( system, group, findings );
      checkLower( system, group, findings );
      checkDefaultRoute( system, carriers, group, findings );
   }
}

void
checkProtected( SystemView const& system, NamePlaces const& protect,
                std::vector< GroupSettings > const& groups, Findings& findings ) {
   struct Reason {
      std::string_view name; // In `protect`.
      std::string_view how;
   };
   std::map< std::string, Reason > reasons; // By main name.
   for ( auto const& [ name, place ] : protect )
      for ( std::string const& interface : system.interfacesOf( name ) ) {
         reasons.try_emplace( interface, Reason{ name, " is the same interface or LAG as " } );
         if ( auto const at = system.runsOn.find( interface ); at != system.runsOn.end() )
            for ( std::string const& lower : at->second )
               reasons.try_emplace( lower, Reason{ name, " carries " } );
      }
   for ( GroupSettings const& group : groups )
      for ( auto const& [ port, place ] : group.disablePlaces )
         for ( std::string const& interface : system.interfacesOf( port ) )
            if ( auto const at = reasons.find( interface ); at != reasons.end() ) {
               auto const [ name, how ] = at->second;
               findings.error( place, inQuotes( port ) +
                                          ( name == port ? " is protected"
                                                         : std::string( how ) + inQuotes( name ) +
                                                               ", which is protected" ) +
                                          " by this file; remove one of the two" );
               break;
            }
}

void
checkUplinksOfChecks( std::vector< GroupSettings > const& groups,
                      std::vector< CheckSettings > const& checks, Findings& findings ) {
   std::set< std::string_view > monitored;
   for ( GroupSettings const& group : groups )
      for ( auto const& [ name, place ] : group.monitorPlaces )
         monitored.insert( name );
   std::vector< std::string_view > const names( monitored.begin(), monitored.end() );
   for ( CheckSettings const& check : checks )
      for ( auto const& [ name, place ] : check.uplinkPlaces ) {
         if ( monitored.contains( name ) )
            continue;
         auto const nearest = nearestWord( name, names );
         findings.warning( place, "no group monitors " + inQuotes( name ) + ", so check " +
                                      inQuotes( check.name ) + " has no effect on it; " +
                                      ( nearest ? "did you mean " + inQuotes( *nearest ) + "?"
                                                : "name it in the monitor of a group" ) );
      }
}

void
noteAbsent( SystemView const& system, std::vector< GroupSettings > const& groups,
            Findings& findings ) {
   std::map< std::string_view, Place > listed; // With the first place of each.
   for ( GroupSettings const& group : groups )
      for ( auto const* const places : { &group.monitorPlaces, &group.disablePlaces } )
         for ( auto const& [ name, place ] : *places )
            listed.try_emplace( name, place );
   // A name that is listed itself is not what was meant by another.
   std::vector< std::string_view > others;
   for ( auto const& [ name, interfaces ] : system.interfaces )
      if ( !listed.contains( name ) )
         others.push_back( name );
   std::size_t compared = 0; // With all others, which takes its time.
   for ( auto const& [ name, place ] : listed ) {
      if ( system.interfaces.contains( std::string( name ) ) )
         continue;
      auto const nearest =
          compared++ < Findings::maxListed ? nearestWord( name, others ) : std::nullopt;
      std::string const text = "there is no interface " + inQuotes( name );
      if ( nearest )
         findings.warning( place, text + "; did you mean " + inQuotes( *nearest ) + "?" );
      else
         findings.note( place, text + " yet" );
   }
}

} // namespace Ufdd
