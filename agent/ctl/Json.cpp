#include "agent/ctl/Json.h"

#include "agent/ctl/Words.h"

#include <sstream>

namespace Ufdd {

namespace {

bool
isTime( std::string_view attribute ) {
   return attribute == "since" || attribute.ends_with( "Time" );
}

Json
timeJson( double time, Moment const& now ) {
   return time > 0 ? Json( utcTime( now.wallAt( time ) ) ) : Json();
}

// Returns the attributes of the entity that are values, by their rows, below its name.
template < class T >
Json
scalarsOf( T const& entity, std::string const& nameKey, Moment const& now ) {
   Json object = Json::object();
   if ( !nameKey.empty() )
      object[ nameKey ] = nameOf( entity );
   Notify::forEachRow< T >( [ & ]< class R >( R const& row ) {
      if constexpr (
          requires { R::set; } && !requires { R::members; } ) {
         auto const value = ( entity.*R::get )();
         using Value = std::remove_const_t< decltype( value ) >;
         Json& member = object[ std::string( row.name ) ];
         if constexpr ( Notify::Enumeration< Value > )
            member = Notify::textOf( value ).c_str();
         else if constexpr ( std::is_same_v< Value, Zet::String8 > )
            member = std::string( value.view() );
         else if constexpr ( std::is_same_v< Value, double > )
            member = isTime( row.name ) ? timeJson( value, now ) : Json( value );
         else
            member = value;
      }
   } );
   return object;
}

template < class Entities >
Json
namesOf( Entities const& entities ) {
   Json names = Json::array();
   for ( auto const& each : entities )
      names.push_back( nameOf( *each ) );
   return names;
}

Json
agentJson( State const& agent, Moment const& now ) {
   Json object = scalarsOf( agent, "", now );
   Json reactions = Json::object();
   for ( char const* const limit : State::reactionLimits )
      reactions[ limit ] = agent.reactions( limit );
   object[ "reactions" ] = std::move( reactions );
   Json& protect = object[ "protect" ] = Json::array();
   agent.protectMembers().forEach(
       [ & ]( auto const& name ) { protect.push_back( std::string( name.zetKey().view() ) ); } );
   return object;
}

} // namespace

Json
jsonOf( std::string const& command, Moment const& now ) {
   return { { "version", 1 }, { "command", command }, { "time", utcTime( now.wall ) } };
}

Json
failureJson( std::string const& error, int exitStatus ) {
   return { { "version", 1 },
            { "time", utcTime( Moment::now().wall ) },
            { "error", error },
            { "exitStatus", exitStatus } };
}

Json
json( View::Group const& group, Moment const& now ) {
   Json object = scalarsOf( *group.state, "group", now );
   object[ "linkStatus" ] = stringValue( group.status->groupLinkStatus() ).c_str();
   object[ "timesDisabled" ] = group.status->numTimesDisabled();
   object[ "uplinks" ] = namesOf( group.uplinks );
   object[ "checks" ] = namesOf( group.checks );
   object[ "ports" ] = namesOf( group.ports );
   return object;
}

Json
json( LinkState const& link, Moment const& now ) {
   return scalarsOf( link, "link", now );
}

Json
json( CheckState const& check, Moment const& now ) {
   Json object = scalarsOf( check, "check", now );
   Json& uplinks = object[ "uplinks" ] = Json::array();
   check.uplinkMembers().forEach( [ & ]( auto const& uplink ) {
      uplinks.push_back( std::string( uplink.zetKey().view() ) );
   } );
   Json& command = object[ "command" ] = Json::array();
   std::istringstream arguments( std::string( check.command().view() ) );
   for ( std::string argument; std::getline( arguments, argument ); )
      command.push_back( argument );
   return object;
}

Json
json( PortState const& port, Moment const& now ) {
   Json object = scalarsOf( port, "port", now );
   Json groups = Json::array();
   port.groupMembers().forEach( [ & ]( auto const& group ) {
      groups.push_back(
          { { "group", std::string( group.zetKey().view() ) }, { "wantsShut", group.value() } } );
   } );
   object[ "groups" ] = std::move( groups );
   return object;
}

Json
json( View const& view ) {
   Json object = jsonOf( "show", view.now );
   object[ "healthy" ] = view.isHealthy();
   Json& texts = object[ "notices" ] = Json::array();
   for ( auto const& lines : { notices( view ), reminders( view ) } )
      for ( Line const& line : lines )
         texts.push_back( plainText( line ) );
   object[ "agent" ] = agentJson( *view.agent, view.now );
   auto const add = [ & ]( char const* name, auto const& all, auto of ) {
      Json& list = object[ name ] = Json::array();
      for ( auto const& each : all )
         list.push_back( of( each ) );
   };
   auto const ofEntity = [ & ]( auto const& entity ) { return json( *entity, view.now ); };
   add( "groups", view.groups, [ & ]( auto const& group ) { return json( group, view.now ); } );
   add( "links", view.links, ofEntity );
   add( "checks", view.checks, ofEntity );
   add( "ports", view.ports, ofEntity );
   return object;
}

// The name of a group or interface need not be valid UTF-8.

std::string
lineOf( Json const& object ) {
   return object.dump( -1, ' ', true, Json::error_handler_t::replace ) + '\n';
}

std::string
pageOf( Json const& object ) {
   return object.dump( 2, ' ', true, Json::error_handler_t::replace ) + '\n';
}

} // namespace Ufdd
