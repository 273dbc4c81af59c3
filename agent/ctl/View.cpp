#include "agent/ctl/View.h"

#include "agent/base/NearestWord.h"
#include "agent/ctl/ExitStatus.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace Ufdd {

using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;

namespace {

template < class T >
std::string_view
nameOf( Zet::Ptr< T > const& entity ) {
   return entity->zetName().view();
}
std::string_view
nameOf( View::Group const& group ) {
   return group.name();
}
template < class T >
T const&
entityOf( Zet::Ptr< T > const& entity ) {
   return *entity;
}
View::Group const&
entityOf( View::Group const& group ) {
   return group;
}

// Puts eth2 before eth10.
auto const isBefore = []( auto const& left, auto const& right ) {
   return strverscmp( std::string( nameOf( left ) ).c_str(),
                      std::string( nameOf( right ) ).c_str() ) < 0;
};

// Puts what is most wrong first, then goes by name.
template < class T >
void
putInOrder( std::vector< T >& all ) {
   std::ranges::sort( all, []( T const& left, T const& right ) {
      auto const [ first, second ] =
          std::pair( severityOf( entityOf( left ) ), severityOf( entityOf( right ) ) );
      return first != second ? first > second : isBefore( left, right );
   } );
}

template < class T >
Zet::Ptr< T const >
orInitial( Zet::Ptr< T > const& entity, Zet::Name const& name ) {
   return entity ? entity : Zet::make< T >( name );
}

template < class T >
[[noreturn]] void
throwUnknown( std::string const& kind, std::string const& name, std::vector< T > const& all ) {
   std::vector< std::string_view > names;
   names.reserve( all.size() );
   for ( T const& each : all )
      names.push_back( nameOf( each ) );
   auto const nearest = nearestWord( name, names );
   throw Failure( ExitStatus::unknownName,
                  "there is no " + kind + " \"" + name + "\"; " +
                      ( nearest         ? "did you mean " + std::string( *nearest ) + "?"
                        : names.empty() ? "ufdd has no " + kind + "s"
                                        : "\"ufdctl show\" lists all " + kind + "s" ) );
}

} // namespace

bool
isWantedShut( PortState const& port ) {
   bool isWanted = false;
   port.groupMembers().forEach( [ & ]( auto const& group ) { isWanted |= group.value(); } );
   return isWanted;
}

Severity
severityOf( LinkState const& link ) {
   return link.condition() == LinkCondition::up ? Severity::good : Severity::bad;
}

Severity
severityOf( CheckState const& check ) {
   if ( check.verdict() == CheckVerdict::down || !check.isUp() )
      return Severity::bad;
   return check.verdict() == CheckVerdict::up ? Severity::good : Severity::warning;
}

Severity
severityOf( PortState const& port ) {
   switch ( port.condition() ) {
   case PortCondition::open:
      return Severity::good;
   case PortCondition::opening:
   case PortCondition::overridden:
   case PortCondition::isProtected:
   case PortCondition::defaultRoute:
   case PortCondition::dryRun:
      return Severity::warning;
   default:
      return Severity::bad;
   }
}

Severity
severityOf( View::Group const& group ) {
   if ( group.status->groupLinkStatus() == GroupLinkStatus::down )
      return Severity::bad;
   bool const isPlain = group.isUp() && group.state->mode() == GroupMode::acting &&
                        group.state->wait() == WaitReason::nothing;
   return isPlain ? Severity::good : Severity::warning;
}

View::View( StatusRoots const& roots, Moment const& at ) : now( at ), agent( roots.state ) {
   State const& state = *roots.state;
   auto const link = [ & ]( Kelnet::IntfId id ) -> Link {
      Zet::Name const& name = id.name();
      return orInitial( state.link( name ), name );
   };
   state.linkMembers().forEach( [ & ]( LinkState const& each ) { links.emplace_back( &each ); } );
   state.checkMembers().forEach(
       [ & ]( CheckState const& each ) { checks.emplace_back( &each ); } );
   state.portMembers().forEach( [ & ]( PortState const& each ) { ports.emplace_back( &each ); } );
   roots.config->groupMembers().forEach( [ & ]( GroupConfig const& config ) {
      Zet::Name const& name = config.zetName();
      Group group{ .status = orInitial( roots.status->group( name ), name ),
                   .config = &config,
                   .state = orInitial( state.group( name ), name ),
                   .uplinks = {},
                   .checks = {},
                   .ports = {} };
      config.intfsToMonitorMembers().forEach(
          [ & ]( auto const& uplink ) { group.uplinks.push_back( link( uplink.zetKey() ) ); } );
      for ( Check const& check : checks )
         if ( std::ranges::any_of( group.uplinks, [ & ]( Link const& uplink ) {
                 return check->uplink( uplink->zetName() );
              } ) )
            group.checks.push_back( check );
      config.intfsToDisableMembers().forEach( [ & ]( auto const& port ) {
         Zet::Name const& portName = port.zetKey().name();
         group.ports.push_back( orInitial( state.port( portName ), portName ) );
      } );
      putInOrder( group.uplinks );
      putInOrder( group.checks );
      putInOrder( group.ports );
      groups.push_back( std::move( group ) );
   } );
   putInOrder( groups );
   putInOrder( links );
   putInOrder( checks );
   putInOrder( ports );
}

void
View::keepGroup( std::string const& name ) {
   if ( name.empty() )
      return;
   auto const at = std::ranges::find( groups, std::string_view( name ), &Group::name );
   if ( at == groups.end() )
      throwUnknown( "group", name, groups );
   groups = { std::move( *at ) };
   Group const& group = groups.front();
   ports = group.ports;
   checks = group.checks;
   std::set< std::string_view > names;
   for ( Link const& uplink : group.uplinks )
      names.insert( nameOf( uplink ) );
   for ( Port const& port : group.ports )
      names.insert( nameOf( port ) );
   std::erase_if( links, [ & ]( Link const& link ) { return !names.contains( nameOf( link ) ); } );
}

void
View::orderByName() {
   std::ranges::sort( groups, isBefore );
   std::ranges::sort( links, isBefore );
   std::ranges::sort( checks, isBefore );
   std::ranges::sort( ports, isBefore );
   for ( Group& group : groups ) {
      std::ranges::sort( group.uplinks, isBefore );
      std::ranges::sort( group.checks, isBefore );
      std::ranges::sort( group.ports, isBefore );
   }
}

View::Check
View::check( std::string const& name ) const {
   auto const at =
       std::ranges::find( checks, std::string_view( name ), nameOf< CheckState const > );
   if ( at == checks.end() )
      throwUnknown( "check", name, checks );
   return *at;
}

View::Port
View::port( std::string const& name ) const {
   auto const at = std::ranges::find( ports, std::string_view( name ), nameOf< PortState const > );
   if ( at == ports.end() && agent->link( Zet::Name( name ) ) )
      throw Failure( ExitStatus::unknownName,
                     "\"" + name +
                         "\" is an uplink, and no group disables it; see \"ufdctl show\"" );
   if ( at == ports.end() )
      throwUnknown( "port", name, ports );
   return *at;
}

View::Link
View::linkOf( PortState const& port ) const {
   return orInitial( agent->link( port.zetName() ), port.zetName() );
}

bool
View::isDryRun( Zet::Name const& name ) const {
   auto const group = agent->group( name );
   return group && group->mode() == GroupMode::dryRun;
}

bool
View::isHealthy() const {
   auto const isGood = []( auto const& each ) {
      return severityOf( entityOf( each ) ) == Severity::good;
   };
   return agent->refusal().empty() && std::ranges::all_of( ports, isGood ) &&
          std::ranges::all_of( groups, [ & ]( Group const& group ) {
             return isGood( group ) && std::ranges::all_of( group.uplinks, isGood ) &&
                    std::ranges::all_of( group.checks, isGood );
          } );
}

} // namespace Ufdd
