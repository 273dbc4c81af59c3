#include "agent/ctl/WhatIf.h"

#include "agent/base/Descriptor.h"
#include "agent/base/NearestWord.h"
#include "agent/base/Never.h"
#include "agent/config/ConfigFile.h"
#include "agent/ctl/ExitStatus.h"
#include "agent/ctl/Words.h"

#include <algorithm>
#include <net/if.h>
#include <set>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace Ufdd {

using UplinkFailureDetection::Config;
using UplinkFailureDetection::GroupConfig;
using UplinkFailureDetection::GroupLinkStatus;

namespace {

bool
isOurs( PortState const& port ) {
   return port.means() != PortMeans::none;
}

// "-" for none.
Span
word( std::optional< GroupLinkStatus > const& status ) {
   return status ? wordOf( *status ) : Span( "-" );
}

ConfigFile
readValid( std::string const& path ) {
   ConfigFile file = readConfig( path );
   if ( !file.errors.empty() )
      throw Failure( ExitStatus::failure, file.errors.front() );
   return file;
}

// Returns the ids of these links.
// Throws: Failure, which names the nearest link, when one is not `known`.
std::vector< Kelnet::IntfId >
idsOf( std::vector< std::string > const& names, std::set< std::string_view > const& known ) {
   std::vector< Kelnet::IntfId > ids;
   for ( std::string const& name : names ) {
      if ( !known.contains( name ) ) {
         std::vector< std::string_view > const all( known.begin(), known.end() );
         auto const nearest = nearestWord( name, all );
         throw Failure( ExitStatus::unknownName,
                        "no group has a link \"" + name + "\"; " +
                            ( nearest ? "did you mean " + std::string( *nearest ) + "?"
                                      : "\"ufdctl show --links\" lists all links" ) );
      }
      ids.emplace_back( name );
   }
   return ids;
}

// Returns whether the interface of this network namespace is up; nothing if there is none.
std::optional< bool >
isUpHere( std::string const& name ) {
   Descriptor const socket( ::socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) );
   ifreq request{};
   name.copy( request.ifr_name, IFNAMSIZ - 1 );
   if ( ioctl( socket.fd(), SIOCGIFFLAGS, &request ) != 0 )
      return std::nullopt;
   return ( request.ifr_flags & IFF_UP ) && ( request.ifr_flags & IFF_RUNNING );
}

std::set< std::string_view >
namesIn( Config const& config ) {
   std::set< std::string_view > names;
   auto const add = [ & ]( auto const& member ) { names.insert( member.zetKey().name().view() ); };
   config.groupMembers().forEach( [ & ]( GroupConfig const& group ) {
      group.intfsToMonitorMembers().forEach( add );
      group.intfsToDisableMembers().forEach( add );
   } );
   return names;
}

// Returns what the checks would count as, by name.
std::map< std::string, bool >
verdictsOf( std::vector< std::string > const& checks, View const& view ) {
   std::map< std::string, bool > verdicts;
   for ( std::string const& text : checks ) {
      std::size_t const at = text.rfind( '=' );
      std::string const name = text.substr( 0, at );
      std::string const verdict = at == text.npos ? "" : text.substr( at + 1 );
      if ( verdict != "up" && verdict != "down" )
         throw Failure( ExitStatus::usage,
                        "expected --check NAME=up or NAME=down, not \"" + text + '"' );
      view.check( name );
      verdicts[ name ] = verdict == "up";
   }
   return verdicts;
}

} // namespace

WhatIf::WhatIf( View const& view, Question const& question ) : view_( view ) {
   ImaginedDetector detector;
   if ( question.file.empty() ) {
      detector.configure( view );
      view.agent->protectMembers().forEach(
          [ this ]( auto const& name ) { protected_.emplace( name.zetKey().view() ); } );
   } else {
      ConfigFile const file = readValid( question.file );
      detector.configure( file, view );
      protected_.insert( file.protect.begin(), file.protect.end() );
   }
   setLinks( detector, question );
   for ( View::Port const& port : view.ports )
      if ( port->order() == OrderKind::down )
         detector.setOrderedDown( Kelnet::IntfId( port->zetName().view() ) );
   std::set< std::string_view > const known = namesIn( detector.config() );
   if ( !question.file.empty() )
      addUnknown( detector, known );
   auto const down = idsOf( question.down, known );
   for ( Kelnet::IntfId const link : down )
      detector.setLink( link, false );
   for ( Kelnet::IntfId const link : idsOf( question.up, known ) )
      detector.setLink( link, true );
   detector.start();
   moveUntilStable( detector, { down.begin(), down.end() } );
   collectGroups( detector );
   for ( Kelnet::IntfId const port : portsOf( detector ) )
      collectPort( detector, port );
}

// Sets the links as ufdd sees them, but for what the checks would make of them.
void
WhatIf::setLinks( ImaginedDetector& detector, Question const& question ) {
   std::map< std::string, bool > const imagined = verdictsOf( question.checks, view_ );
   std::set< std::string > left; // The checks of the file.
   if ( !question.file.empty() )
      for ( CheckSettings const& check : readValid( question.file ).checks )
         left.insert( check.name );
   auto const passes = [ & ]( View::Check const& check ) {
      std::string const name( check->zetName().view() );
      auto const at = imagined.find( name );
      return ( !question.file.empty() && !left.contains( name ) ) ||
             ( at == imagined.end() ? check->isUp() : at->second );
   };
   for ( View::Link const& link : view_.links ) {
      Kelnet::IntfId const id( link->zetName().view() );
      LinkCondition const condition = link->condition();
      bool const hasLink =
          condition == LinkCondition::up || condition == LinkCondition::failedCheck;
      if ( condition == LinkCondition::unproven )
         detector.setUnproven( id );
      else if ( condition != LinkCondition::absent )
         detector.setLink(
             id, hasLink && std::ranges::all_of( view_.checks, [ & ]( View::Check const& check ) {
                    return !check->uplink( link->zetName() ) || passes( check );
                 } ) );
   }
}

// Sets the links of a new configuration that ufdd does not watch yet.
void
WhatIf::addUnknown( ImaginedDetector& detector, std::set< std::string_view > const& known ) {
   std::string names;
   for ( std::string_view const name : known ) {
      if ( view_.agent->link( Zet::Name( name ) ) )
         continue;
      names += ( names.empty() ? "" : ", " ) + std::string( name );
      if ( auto const isUp = isUpHere( std::string( name ) ) )
         detector.setLink( Kelnet::IntfId( name ), *isUp );
   }
   if ( !names.empty() )
      notices_.push_back( "Not watched by ufdd yet, and taken as the kernel shows them here: " +
                          names );
}

// Returns the ports of the private configuration, and those that are ours now.
std::set< Kelnet::IntfId >
WhatIf::portsOf( ImaginedDetector const& detector ) const {
   std::set< Kelnet::IntfId > ports;
   detector.config().groupMembers().forEach( [ & ]( GroupConfig const& group ) {
      group.intfsToDisableMembers().forEach(
          [ & ]( auto const& port ) { ports.insert( port.zetKey() ); } );
   } );
   for ( View::Port const& port : view_.ports )
      if ( Ufdd::isOurs( *port ) )
         ports.insert( Kelnet::IntfId( port->zetName().view() ) );
   return ports;
}

// Shuts and opens ports, whose links may be uplinks, until nothing changes.
void
WhatIf::moveUntilStable( ImaginedDetector& detector, std::set< Kelnet::IntfId > const& keptDown ) {
   constexpr int roundLimit = 100;
   auto const ports = portsOf( detector );
   bool isStable = false;
   for ( int round = 0; round < roundLimit && !isStable; ++round ) {
      isStable = true;
      detector.decide();
      if ( round == 0 )
         detector.config().groupMembers().forEach( [ & ]( GroupConfig const& group ) {
            wantedAtFirst_[ group.name() ] = detector.wantsShut( group );
         } );
      for ( Kelnet::IntfId const port : ports ) {
         bool const mustBeShut = detector.mustBeShut( port );
         bool const follows = mustBeShut ? hindrance( detector, port ).empty()
                                         : isOurs( port ) && !keptDown.contains( port );
         if ( follows && detector.isUp( port ) == mustBeShut ) {
            detector.setLink( port, !mustBeShut );
            followed_.insert( port );
            isStable = false;
         }
      }
   }
   if ( !isStable )
      notices_.push_back( "groups depend on each other in a circle, and would go up and down" );
}

// Returns the uplinks that make the group go down or up only once they are shut or opened
// themselves, as ports of other groups; empty if it does not wait for any.
std::string
WhatIf::leadersOf( ImaginedDetector const& detector, GroupConfig const& group ) const {
   std::string names;
   if ( detector.wantsShut( group ) != wantedAtFirst_.at( group.name() ) )
      group.intfsToMonitorMembers().forEach( [ & ]( auto const& uplink ) {
         if ( followed_.contains( uplink.zetKey() ) )
            names += ( names.empty() ? "" : ", " ) + std::string( uplink.zetKey().name().view() );
      } );
   return names;
}

bool
WhatIf::isOurs( Kelnet::IntfId port ) const {
   auto const state = view_.agent->port( port.name() );
   return state && Ufdd::isOurs( *state );
}

// Returns why ufdd would not shut the port; empty if it would.
std::string
WhatIf::hindrance( ImaginedDetector const& detector, Kelnet::IntfId port ) const {
   std::string const name( port.name().view() );
   if ( !detector.hasLink( port ) )
      return "there is no such interface";
   if ( protected_.contains( name ) )
      return "it is protected";
   auto const state = view_.agent->port( port.name() );
   if ( !state || Ufdd::isOurs( *state ) )
      return "";
   switch ( state->condition() ) {
   case PortCondition::foreign:
   case PortCondition::isProtected:
   case PortCondition::defaultRoute:
   case PortCondition::overridden:
      return "it is " + portText( *state );
   default:
      return view_.linkOf( *state )->condition() == LinkCondition::setDown
                 ? "it is administratively down already"
                 : "";
   }
}

void
WhatIf::collectGroups( ImaginedDetector const& detector ) {
   std::set< std::string_view > now;
   for ( View::Group const& group : view_.groups ) {
      now.insert( group.name() );
      if ( !detector.config().group( group.config->name() ) )
         groups_.push_back( { .name = std::string( group.name() ),
                              .now = group.status->groupLinkStatus(),
                              .then = {},
                              .state = Zet::make< GroupState >( group.config->name() ) } );
   }
   detector.config().groupMembers().forEach( [ & ]( GroupConfig const& config ) {
      Group group{ .name = std::string( config.name().view() ),
                   .now = {},
                   .then = detector.status( config.name() ),
                   .state = detector.newState( config ) };
      auto const at =
          std::ranges::find( view_.groups, std::string_view( group.name ), &View::Group::name );
      if ( at != view_.groups.end() )
         group.now = at->status->groupLinkStatus();
      bool const isSame = group.now == group.then &&
                          at->state->upLinks() == group.state->upLinks() &&
                          at->state->neededLinks() == group.state->neededLinks();
      if ( isSame )
         ++sameGroups_;
      else
         groups_.push_back( std::move( group ) );
   } );
   std::ranges::sort( groups_, {}, &Group::name );
}

void
WhatIf::collectPort( ImaginedDetector const& detector, Kelnet::IntfId port ) {
   std::string down; // The groups that shut it.
   std::string idle; // Those that would, with what keeps them from it.
   std::string up;   // All others.
   double downDelay = never;
   bool isLatched = false;
   std::string leaders; // The ports that are shut or opened before this one.
   bool isShutFirst = detector.isOrderedDown( port );
   Port open{ .name = std::string( port.name().view() ), .act = Act::open, .why = {} };
   auto const add = []( std::string& list, std::string const& more ) {
      list += ( list.empty() ? "" : ", " ) + more;
   };
   detector.config().groupMembers().forEach( [ & ]( GroupConfig const& group ) {
      if ( !group.intfsToDisableMembers().find( port ) )
         return;
      std::string const name( group.name().view() );
      ImaginedDetector::Manner const& manner = detector.manner( group.name() );
      auto const state = view_.agent->port( port.name() );
      isLatched |= !manner.autoRecover && manner.mode == GroupMode::acting && state &&
                   state->group( group.name() );
      std::string const led = leadersOf( detector, group );
      if ( !detector.wantsShut( group ) ) {
         add( up, name );
         if ( !led.empty() )
            add( leaders, led );
         addDelays( manner, group.name(), open );
      } else if ( std::string const reason = detector.hindrance( group ); !reason.empty() )
         add( idle, name + " down, but " + reason );
      else {
         add( down, name );
         if ( led.empty() )
            isShutFirst = true;
         else
            add( leaders, led );
         downDelay =
             manner.mode == GroupMode::orderedDown ? 0 : std::min( downDelay, manner.downDelay );
      }
   } );
   std::string const& name = open.name;
   if ( detector.isOrderedDown( port ) ) {
      down = "ordered";
      downDelay = 0;
   }
   if ( detector.mustBeShut( port ) ) {
      std::string const reason = hindrance( detector, port );
      if ( !reason.empty() )
         ports_.push_back( { .name = name, .why = down + " down, but " + reason } );
      else if ( !isOurs( port ) )
         ports_.push_back(
             { .name = name,
               .act = Act::shut,
               .after = downDelay,
               .why = down + " down" + ( isShutFirst ? "" : ", once " + leaders + " is shut" ) } );
   } else if ( isOurs( port ) && isLatched ) {
      ports_.push_back(
          { .name = name,
            .why = up + " up, but latched (auto_recover), until: ufdctl clear " + name } );
   } else if ( isOurs( port ) ) {
      open.why = up.empty() ? "" : up + " up";
      if ( !leaders.empty() )
         open.why += ", once " + leaders + " is open";
      if ( !idle.empty() )
         open.why += ( open.why.empty() ? "" : "; " ) + idle;
      if ( open.why.empty() )
         open.why = "no group disables it any more";
      if ( !open.routes.empty() )
         open.why += "; once " + routeWords( open.routes ) + " (release_when), after " +
                     delayText( open.latest ) + " at the latest";
      ports_.push_back( open );
   } else if ( !idle.empty() )
      ports_.push_back( { .name = name, .why = idle } );
}

// Adds what delays the opening of the port if that group needs it shut.
void
WhatIf::addDelays( ImaginedDetector::Manner const& manner, Zet::Name const& group,
                   Port& port ) const {
   auto const state = view_.agent->port( Zet::Name( port.name ) );
   auto const* const member = state ? state->groupMembers().find( group ) : nullptr;
   if ( member && !member->value() )
      return;
   port.after = std::max( port.after, manner.recoveryDelay );
   port.latest = std::max( port.latest, manner.recoveryDelay );
   if ( manner.releaseWhen.empty() )
      return;
   port.latest = std::max( port.latest, manner.recoveryDelay + manner.releaseTimeout );
   port.routes = std::string( port.routes.view() ) + ( port.routes.empty() ? "" : ", " ) +
                 std::string( manner.releaseWhen.view() );
}

bool
WhatIf::shutsAny() const {
   return std::ranges::find( ports_, Act::shut, &Port::act ) != ports_.end();
}

std::string
WhatIf::text( Colours colours ) const {
   Screen screen( colours );
   for ( std::string const& notice : notices_ )
      screen.line( { { notice, Emphasis::warning } }, 2 );
   if ( groups_.empty() )
      screen.line( { { "No group would change." } } );
   else {
      std::vector< Line > rows{ { "GROUP", "NOW", "THEN", "UPLINKS" } };
      for ( Group const& group : groups_ )
         rows.push_back( { group.name,
                           word( group.now ),
                           word( group.then ),
                           { group.then ? countText( *group.state ) : "" } } );
      screen.table( rows );
      if ( sameGroups_ > 0 )
         screen.line( { { "Groups that stay as they are: " + std::to_string( sameGroups_ ) } } );
   }
   screen.line( {} );
   if ( ports_.empty() )
      screen.line( { { "No port would change." } } );
   else {
      std::vector< Line > rows{ { "PORT", "WOULD BE", "WHY" } };
      for ( Port const& port : ports_ ) {
         std::string const when = port.after > 0 ? " after " + delayText( port.after ) : " at once";
         rows.push_back( { port.name,
                           port.act == Act::shut   ? Span( "shut" + when, Emphasis::bad )
                           : port.act == Act::open ? Span( "opened" + when, Emphasis::good )
                                                   : Span( "left alone", Emphasis::warning ),
                           port.why } );
      }
      screen.table( rows );
   }
   screen.line( {} );
   screen.line( { { "Nothing was changed." } } );
   return screen.text();
}

Json
WhatIf::json() const {
   Json object = jsonOf( "what-if", view_.now );
   object[ "anyShut" ] = shutsAny();
   object[ "notices" ] = notices_;
   Json& groups = object[ "groups" ] = Json::array();
   for ( Group const& group : groups_ )
      groups.push_back( { { "group", group.name },
                          { "before", group.now ? Json( word( group.now ).text ) : Json() },
                          { "linkStatus", group.then ? Json( word( group.then ).text ) : Json() },
                          { "upLinks", group.state->upLinks() },
                          { "allLinks", group.state->allLinks() },
                          { "neededLinks", group.state->neededLinks() } } );
   Json& ports = object[ "ports" ] = Json::array();
   for ( Port const& port : ports_ )
      ports.push_back( { { "port", port.name },
                         { "act", port.act == Act::shut   ? "shut"
                                  : port.act == Act::open ? "open"
                                                          : "none" },
                         { "afterSeconds", port.after },
                         { "releaseWhen", port.routes.c_str() },
                         { "latestSeconds", port.latest },
                         { "why", port.why } } );
   return object;
}

} // namespace Ufdd
