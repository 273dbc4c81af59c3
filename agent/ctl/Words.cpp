#include "agent/ctl/Words.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <set>

namespace Ufdd {

using UplinkFailureDetection::GroupLinkStatus;

namespace {

template < Notify::Enumeration E >
std::string
text( E value ) {
   return Notify::textOf( value ).c_str();
}

std::string
text( Zet::String8 const& value ) {
   return std::string( value.view() );
}

template < class T >
std::string
orderTextOf( T const& entity, Moment const& now ) {
   if ( entity.order() == OrderKind::none )
      return "";
   return ( entity.order() == OrderKind::down ? "ordered down" : "disabled" ) +
          std::string( " by user " ) + std::to_string( entity.orderUid() ) +
          ageText( entity.orderTime(), now ) + " ago" +
          ( entity.orderEndTime() > 0 ? ", for another " + untilText( entity.orderEndTime(), now )
                                      : "" ) +
          ( entity.orderReason().empty() ? "" : ": " + text( entity.orderReason() ) );
}

// Names the key of the file that set the group's mode; empty if an operator's order did.
std::string
byFileText( GroupState const& group, char const* key ) {
   return group.order() == OrderKind::none ? std::string( " by the configuration (" ) + key + ')'
                                           : "";
}

// Adds a line about an order that stands.
template < class T >
void
addOrder( std::vector< Line >& lines, std::string const& kind, T const& entity,
          Moment const& now ) {
   if ( entity.order() == OrderKind::none )
      return;
   std::string const name( entity.zetName().view() );
   lines.push_back( { { kind + name + " is " + orderTextOf( entity, now ), Emphasis::warning },
                      { ". To end that: ufdctl auto " + name } } );
}

} // namespace

std::string
lastingText( double seconds ) {
   auto const whole = static_cast< long long >( std::max( seconds, 0.0 ) );
   auto const in = []( long long number, char const* unit ) {
      return std::to_string( number ) + ' ' + unit;
   };
   long long const minutes = whole / 60;
   long long const hours = minutes / 60;
   if ( minutes == 0 )
      return in( whole, "s" );
   if ( hours == 0 )
      return in( minutes, "min" );
   if ( hours < 24 )
      return in( hours, "h " ) + in( minutes % 60, "min" );
   return in( hours / 24, "d " ) + in( hours % 24, "h" );
}

std::string
delayText( double seconds ) {
   char digits[ 16 ];
   std::snprintf( digits, sizeof digits, "%.3g s", seconds );
   return seconds < 60 ? digits : lastingText( seconds );
}

std::string
untilText( double time, Moment const& now ) {
   double const seconds = std::max( time - now.steady, 0.0 );
   if ( seconds >= 10 )
      return lastingText( std::ceil( seconds ) );
   char digits[ 16 ];
   std::snprintf( digits, sizeof digits, "%.1f s", seconds );
   return digits;
}

std::string
clockText( double time, Moment const& now ) {
   constexpr std::size_t dateSize = 11;
   std::string const then = localTime( now.wallAt( time ) );
   bool const isToday = localTime( now.wall ).starts_with( then.substr( 0, dateSize ) );
   return isToday ? then.substr( dateSize ) : then;
}

std::string
ageText( double since, Moment const& now ) {
   return since > 0 ? ", " + lastingText( now.steady - since ) : "";
}

Emphasis
emphasisOf( Severity severity ) {
   switch ( severity ) {
   case Severity::good:
      return Emphasis::good;
   case Severity::warning:
      return Emphasis::warning;
   default:
      return Emphasis::bad;
   }
}

Line
linkWords( LinkState const& link, Moment const& now ) {
   return { { text( link.condition() ), emphasisOf( severityOf( link ) ) },
            { ageText( link.since(), now ) +
              ( link.failure().empty() ? "" : ": " + text( link.failure() ) ) } };
}

std::string
checkText( CheckState const& check, Moment const& now ) {
   std::string const verdict = text( check.verdict() );
   if ( check.waitTime() > 0 )
      return verdict + ", and counts in " + untilText( check.waitTime(), now );
   if ( check.verdict() == CheckVerdict::up || check.verdict() == CheckVerdict::down )
      return verdict;
   return verdict + ( check.isUp() ? ", counts as up" : ", counts as down" );
}

Line
checkWords( CheckState const& check, Moment const& now ) {
   std::string result = text( check.reason() );
   if ( check.result() == CheckResult::pass || check.result() == CheckResult::fail )
      result += ( result.empty() ? "" : ", " ) + std::to_string( check.run() ) + " in a row";
   return { { checkText( check, now ), emphasisOf( severityOf( check ) ) },
            { ageText( check.since(), now ) + ( result.empty() ? "" : ": " + result ) } };
}

std::string
uplinksText( CheckState const& check ) {
   std::set< std::string > names;
   check.uplinkMembers().forEach(
       [ & ]( auto const& uplink ) { names.insert( text( uplink.zetKey() ) ); } );
   std::string list;
   for ( std::string const& name : names )
      list += ( list.empty() ? "" : ", " ) + name;
   return list;
}

std::string
meansText( PortMeans means ) {
   switch ( means ) {
   case PortMeans::none:
      return "";
   case PortMeans::down:
      return "admin down";
   case PortMeans::members:
      return "through its members";
   default:
      return "by " + text( means );
   }
}

std::string
portText( PortState const& port ) {
   std::string const means =
       port.means() == PortMeans::none ? "" : " (" + text( port.means() ) + ')';
   switch ( port.condition() ) {
   case PortCondition::ordered:
      return "shut by order" + means;
   case PortCondition::foreign:
      return "down, not by ufdd";
   case PortCondition::failed:
      return isWantedShut( port ) ? "can't be shut" : "can't be opened" + means;
   case PortCondition::overridden:
      return "overridden by hand";
   case PortCondition::isProtected:
   case PortCondition::defaultRoute:
   case PortCondition::dryRun:
      return "open: " + text( port.condition() );
   default:
      return text( port.condition() ) + means;
   }
}

Line
portWords( PortState const& port, LinkState const& link, Moment const& now ) {
   Span const state( portText( port ), emphasisOf( severityOf( port ) ) );
   // Of an open port, it matters more for how long the link has been down.
   if ( port.condition() == PortCondition::open && link.condition() != LinkCondition::up )
      return { state, { ", " + text( link.condition() ) + ageText( link.since(), now ) } };
   return { state, { ageText( port.since(), now ) } };
}

Span
wordOf( GroupLinkStatus status ) {
   return { text( stringValue( status ) ), status == GroupLinkStatus::up     ? Emphasis::good
                                           : status == GroupLinkStatus::down ? Emphasis::bad
                                                                             : Emphasis::warning };
}

Span
statusWord( View::Group const& group ) {
   std::string word = wordOf( group.status->groupLinkStatus() ).text;
   std::ranges::transform( word, word.begin(),
                           []( unsigned char c ) { return std::toupper( c ); } );
   return { word, emphasisOf( severityOf( group ) ) };
}

std::string
countText( GroupState const& group ) {
   return std::to_string( group.upLinks() ) + '/' + std::to_string( group.allLinks() ) +
          " up, needs " + neededText( group.minLinks(), group.neededLinks() );
}

std::string
modeText( GroupState const& group, Moment const& now ) {
   std::string const mode = text( group.mode() );
   switch ( group.mode() ) {
   case GroupMode::acting:
      return "";
   case GroupMode::disabled:
      return mode + byFileText( group, "enabled" ) + ": it shuts no port";
   case GroupMode::orderedDown:
      return mode + byFileText( group, "force_down" ) +
             ": its ports are shut, whatever its uplinks do";
   case GroupMode::dryRun:
      return mode + ": it only logs what it would do";
   case GroupMode::startupHold:
      return mode + ": its ports are left as they are until it is up" +
             ( group.waitTime() > 0 ? ", at most " + untilText( group.waitTime(), now ) : "" );
   default:
      return mode + ": it is down only if uplinks count that were never there since the boot; it "
                    "leaves its ports as they are until they come, so check their names";
   }
}

std::string
routeWords( Zet::String8 const& releaseWhen ) {
   bool const isOne = releaseWhen.view().find( ',' ) == std::string_view::npos;
   return ( isOne ? "there is a route " : "there are routes " ) + text( releaseWhen );
}

std::string
waitText( GroupState const& group, Moment const& now ) {
   // Neither moves a port when its wait is over.
   if ( group.mode() == GroupMode::orderedDown || group.mode() == GroupMode::disabled )
      return "";
   std::string const after =
       group.waitTime() > 0 ? " in " + untilText( group.waitTime(), now ) : "";
   switch ( group.wait() ) {
   case WaitReason::downDelay:
      return "down_delay: its ports are shut" + after + " if it stays down";
   case WaitReason::recoveryDelay:
      return "recovery_delay: its ports are opened" + after + " if it stays up";
   case WaitReason::releaseWhen:
      return "release_when: its ports are opened once " + routeWords( group.releaseWhen() ) +
             ( after.empty() ? "" : ", else" + after );
   case WaitReason::latched:
      return "latched: its ports stay shut until they are cleared: ufdctl clear " + nameOf( group );
   default:
      // The mode says the rest.
      return "";
   }
}

std::string
orderText( GroupState const& group, Moment const& now ) {
   return orderTextOf( group, now );
}

std::string
orderText( PortState const& port, Moment const& now ) {
   return orderTextOf( port, now );
}

std::vector< Line >
notices( View const& view ) {
   std::vector< Line > lines;
   State const& agent = *view.agent;
   if ( !agent.refusal().empty() )
      lines.push_back(
          { { text( agent.configFile() ) + " is not in force", Emphasis::bad },
            { ": it was refused " + lastingText( view.now.steady - agent.refusalTime() ) +
              " ago (" + text( agent.refusal() ) + "). The configuration that was read " +
              lastingText( view.now.steady - agent.configTime() ) + " ago is in force." } } );
   if ( agent.confirmTime() > 0 )
      lines.push_back(
          { { text( agent.configFile() ) + " is not confirmed", Emphasis::warning },
            { ": the former configuration comes back in " +
              untilText( agent.confirmTime(), view.now ) + ", unless: ufdctl confirm" } } );
   std::string failed;
   double counts = 0;
   for ( View::Check const& check : view.checks )
      if ( check->waitTime() > 0 ) {
         failed += ( failed.empty() ? "" : ", " ) + text( check->zetName() );
         counts = std::max( counts, check->waitTime() );
      }
   if ( !failed.empty() )
      lines.push_back( { { "checks failed at once: " + failed, Emphasis::bad },
                         { ". The fault may be in this machine: they count in " +
                           untilText( counts, view.now ) + ", unless one passes before." } } );
   std::string names;
   double until = 0;
   for ( View::Group const& group : view.groups )
      if ( group.state->mode() == GroupMode::startupHold ) {
         names += ( names.empty() ? "" : ", " ) + std::string( group.name() );
         until = std::max( until, group.state->waitTime() );
      }
   if ( !names.empty() )
      lines.push_back( { { "ufdd is in startup hold", Emphasis::warning },
                         { ( until > 0 ? " for another " + untilText( until, view.now ) : "" ) +
                           ": it leaves the ports of " + names + " as they are." } } );
   return lines;
}

std::vector< Line >
reminders( View const& view ) {
   std::vector< Line > lines;
   for ( View::Group const& group : view.groups )
      addOrder( lines, "group ", *group.state, view.now );
   for ( View::Port const& port : view.ports )
      addOrder( lines, "port ", *port, view.now );
   return lines;
}

} // namespace Ufdd
