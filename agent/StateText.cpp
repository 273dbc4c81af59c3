#include "agent/StateText.h"

#include "model/GroupConfig.h"
#include "model/GroupStatus.h"

#include <algorithm>

namespace Ufdd {

namespace {

using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;

std::string
text( Zet::String8 const& value ) {
   return std::string( value.view() );
}

template < class E >
std::string
word( E value ) {
   return text( Notify::textOf( value ) );
}

// Returns "u1 up, u2 absent" for the members of a collection of names.
template < class Members, class Describe >
std::string
listOf( Members const& members, Describe describe ) {
   std::string list;
   members.forEach( [ & ]( auto const& member ) {
      Zet::Name const name = member.zetKey().name();
      list += ( list.empty() ? "" : ", " ) + text( name ) + ' ' + describe( name );
   } );
   return list;
}

// Returns ", ordered down by uid 0 since 2026-03-01 12:30:00.123, until ...: new switch"; empty if
// an operator has ordered nothing about the entity.
template < class Entity >
std::string
orderText( Entity const& entity, Moment const& now ) {
   if ( entity.order() == OrderKind::none )
      return "";
   return std::string( entity.order() == OrderKind::disable ? ", disabled" : ", ordered down" ) +
          " by uid " + std::to_string( entity.orderUid() ) + " since " +
          localTime( now.wallAt( entity.orderTime() ) ) +
          ( entity.orderEndTime() > 0
                ? ", until " + localTime( now.wallAt( entity.orderEndTime() ) )
                : "" ) +
          ( entity.orderReason().empty() ? "" : " (" + text( entity.orderReason() ) + ')' );
}

// Returns the names of the entities for which isOne() is true, sorted: " d1 d2".
template < class Entities, class Predicate >
std::string
namesOf( Entities const& entities, Predicate isOne ) {
   std::vector< std::string > names;
   entities.forEach( [ & ]( auto const& entity ) {
      if ( isOne( entity ) )
         names.push_back( ' ' + text( entity.zetName() ) );
   } );
   std::sort( names.begin(), names.end() );
   std::string list;
   for ( std::string const& name : names )
      list += name;
   return list;
}

std::string
groupText( GroupState const& group, GroupStatus const& known, Moment const& now ) {
   GroupLinkStatus const status = known.groupLinkStatus();
   double const since = status == GroupLinkStatus::down ? group.downTime() : group.upTime();
   std::string line = word( status );
   if ( since > 0 )
      line += " since " + localTime( now.wallAt( since ) );
   line += ", " + std::to_string( group.upLinks() ) + '/' + std::to_string( group.allLinks() ) +
           " up, needs " + neededText( group.minLinks(), group.neededLinks() );
   if ( group.order() != OrderKind::none )
      line += orderText( group, now );
   else if ( group.mode() != GroupMode::acting )
      line += ", " + word( group.mode() );
   if ( group.wait() != WaitReason::nothing )
      line += ", waits for " + word( group.wait() );
   if ( group.waitTime() > 0 )
      line += " until " + localTime( now.wallAt( group.waitTime() ) );
   if ( known.numTimesDisabled() != 0 )
      line += ", went down " + std::to_string( known.numTimesDisabled() ) + " times";
   return line + ( group.cause().empty() ? "" : ": " + text( group.cause() ) );
}

std::string
portText( PortState const& port, Moment const& now ) {
   return word( port.condition() ) +
          ( port.means() == PortMeans::none ? "" : " (" + word( port.means() ) + ')' ) +
          orderText( port, now );
}

} // namespace

std::vector< std::string >
stateLines( StatusRoots const& roots, Moment const& now ) {
   std::vector< std::string > lines;
   for ( auto config = roots.config->groupIteratorConst(); config; ++config ) {
      auto const group = roots.state->group( config->name() );
      auto const status = roots.status->group( config->name() );
      if ( !group || !status )
         continue;
      lines.push_back(
          "group " + text( config->name() ) + ": " + groupText( *group, *status, now ) +
          "; uplinks: " +
          listOf( config->intfsToMonitorMembers(),
                  [ & ]( Zet::Name const& name ) {
                     auto const link = roots.state->link( name );
                     return link ? word( link->condition() ) : "";
                  } ) +
          "; ports: " + listOf( config->intfsToDisableMembers(), [ & ]( Zet::Name const& name ) {
             auto const port = roots.state->port( name );
             return port ? portText( *port, now ) : "";
          } ) );
   }
   std::sort( lines.begin(), lines.end() );
   return lines;
}

std::string
summaryLine( StatusRoots const& roots ) {
   State const& state = *roots.state;
   std::size_t const groups = roots.config->groupMembers().count();
   std::size_t down = 0;
   roots.status->groupMembers().forEach( [ & ]( GroupStatus const& group ) {
      down += group.groupLinkStatus() == GroupLinkStatus::down;
   } );
   std::size_t shut = 0;
   state.portMembers().forEach(
       [ & ]( PortState const& port ) { shut += port.means() != PortMeans::none; } );
   auto const ports = [ & ]( PortCondition condition ) {
      return namesOf( state.portMembers(),
                      [ & ]( PortState const& port ) { return port.condition() == condition; } );
   };
   std::string const overridden = ports( PortCondition::overridden );
   std::string const spared = ports( PortCondition::defaultRoute );
   std::string const unproven = namesOf( state.groupMembers(), []( GroupState const& group ) {
      return group.wait() == WaitReason::unproven;
   } );
   auto const isOrdered = []( auto const& entity ) { return entity.order() != OrderKind::none; };
   std::string const ordered =
       namesOf( state.groupMembers(), isOrdered ) + namesOf( state.portMembers(), isOrdered );
   return std::to_string( groups ) + ( groups == 1 ? " group, " : " groups, " ) +
          std::to_string( down ) + " down; ports shut: " + std::to_string( shut ) +
          ( ordered.empty() ? "" : "; orders stand about:" + ordered ) +
          ( overridden.empty() ? "" : "; overridden:" + overridden ) +
          ( spared.empty() ? "" : "; left open for the default route:" + spared ) +
          ( unproven.empty() ? "" : "; left alone for unproven uplinks:" + unproven );
}

} // namespace Ufdd
