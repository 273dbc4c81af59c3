#include "agent/ports/PortReport.h"

#include "agent/ports/OpeningCommand.h"
#include "agent/ports/PortActs.h"

#include <cerrno>
#include <cstring>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;
using UplinkFailureDetection::GroupLinkStatus;

// Returns the numbers of the bits: "5, 7".
std::string
numbersOf( std::uint32_t bits ) {
   std::string text;
   for ( unsigned int number = 0; bits; ++number, bits >>= 1 )
      if ( bits & 1 )
         text += ( text.empty() ? "" : ", " ) + std::to_string( number );
   return text;
}

// Returns why a port that we opened still has no carrier, if others keep it in protodown.
std::string
othersIn( LinkRequest const& answer ) {
   if ( answer.means == Means::adminDown || !answer.after.protoDown )
      return "";
   if ( answer.after.protoDownReasons == 0 )
      return ", but it was in protodown before";
   return ", but others keep it in protodown, for the reasons " +
          numbersOf( answer.after.protoDownReasons );
}

} // namespace

void
PortReport::tell( std::span< PortResult const > results ) {
   for ( PortResult const& result : results )
      tell( result );
}

void
PortReport::tellReleased( std::span< PortResult const > results ) {
   for ( auto const& [ kind, answer ] : results )
      if ( kind == PortResult::Kind::failed )
         tellFailed( answer, true );
      else
         line( LogEvent::portOpened, {}, answer.port,
               nameOf( answer ) + " opened" + othersIn( answer ) + ": ufdd stops" );
}

void
PortReport::tell( PortResult const& result ) {
   LinkRequest const& answer = result.answer;
   switch ( result.kind ) {
   case PortResult::Kind::shut:
      return tellShut( answer, "shut" );
   case PortResult::Kind::shutAgain:
      return tellShut( answer, "shut again, someone had opened it" );
   case PortResult::Kind::foundDown:
      return tellShut( answer, "left as it is, administratively down already" );
   case PortResult::Kind::overridden:
      return tellLeftOpen( answer, "overridden: someone opened it more than " +
                                       std::to_string( PortActs::maxReopenings ) +
                                       " times in a minute; it is left open until its groups "
                                       "are up" );
   case PortResult::Kind::isProtected:
      return tellLeftOpen( answer, "not shut: it is protected by the configuration",
                           "; remove it from the group, or its name from protect" );
   case PortResult::Kind::defaultRoute:
      return tellLeftOpen( answer, "not shut: it carries this machine's default route",
                           "; it is shut when the route leaves it, or with "
                           "allow_default_route = true" );
   case PortResult::Kind::leftAlone:
      return tellLeftOpen( answer, leftAloneText( answer.port ) );
   case PortResult::Kind::opened:
      return tellOpened( answer );
   case PortResult::Kind::openedAnyway:
      return line( LogEvent::portOpened, {}, answer.port,
                   nameOf( answer ) + " opened" + othersIn( answer ) +
                       ": cleared or overridden; it is left open until its groups are up" );
   case PortResult::Kind::failed:
      return tellFailed( answer, false );
   }
}

void
PortReport::line( LogEvent::Id id, GroupsText const& groups, Kelnet::IntfId port,
                  std::string const& text ) {
   log_.event( { .id = id, .groups = groups.names, .port = port.name().view() }, text );
}

GroupsText
PortReport::demandText( Kelnet::IntfId port ) const {
   GroupsText groups = groupsText( detector_, port, GroupLinkStatus::down, Named::shutting );
   if ( detector_.reasons().isOrderedDown( port ) ) {
      groups.text = "it is ordered down";
   } else if ( groups.names.empty() ) {
      groups = groupsText( detector_, port, GroupLinkStatus::up, Named::shutting );
      groups.text.insert( 0, detector_.reasons().isLatched( port )
                                 ? "it is latched (auto_recover): "
                                 : "recovery_delay has not passed: " );
   }
   return groups;
}

std::string
PortReport::leftAloneText( Kelnet::IntfId port ) const {
   bool const isDown =
       !groupsText( detector_, port, GroupLinkStatus::down, Named::shutting ).names.empty();
   return isDown ? "not shut: there is no evidence that its uplinks failed"
                 : "not shut: its uplinks are up again";
}

void
PortReport::tellShut( LinkRequest const& answer, std::string_view how ) {
   GroupsText const demand = demandText( answer.port );
   line( LogEvent::portShut, demand, answer.port,
         nameOf( answer ) + " " + std::string( how ) + ": " + demand.text );
}

void
PortReport::tellLeftOpen( LinkRequest const& answer, std::string const& why,
                          std::string_view remedy ) {
   GroupsText const demand = demandText( answer.port );
   line( LogEvent::portFailure, demand, answer.port,
         nameOf( answer ) + ' ' + why + ", though " + demand.text + std::string( remedy ) );
}

void
PortReport::tellOpened( LinkRequest const& answer ) {
   GroupsText groups = groupsText( detector_, answer.port, GroupLinkStatus::up );
   if ( groups.names.empty() ) {
      groups = groupsText( detector_, answer.port, GroupLinkStatus::down );
      groups.text.insert( 0, groups.names.empty() ? "no group disables it"
                                                  : "it need not be shut, though " );
   }
   line( LogEvent::portOpened, groups, answer.port,
         nameOf( answer ) + " opened" + othersIn( answer ) + ": " + groups.text );
}

void
PortReport::tellFailed( LinkRequest const& answer, bool isReleasing ) {
   line( LogEvent::portFailure, {}, answer.port,
         nameOf( answer ) + ' ' + failureOf( answer ) + "; " +
             ( isReleasing ? commandFor( answer ) : remedyOf( answer ) ) );
}

std::string
PortReport::failureOf( LinkRequest const& failure ) {
   return std::string( failure.up ? "can't be opened: " : "can't be shut: " ) +
          ( failure.error == PortResult::notSeen
                ? "the kernel reported no error, but changed nothing"
            : failure.error == PortResult::otherHardware
                ? "its hardware address has changed, it may be another interface"
                : std::strerror( failure.error ) );
}

std::string
PortReport::commandFor( LinkRequest const& failure ) const {
   Link const* const link = links_.link( failure.index );
   std::string_view const name = link ? link->name.view() : failure.port.name().view();
   return "open it with: " + openingCommand( name, failure.means, failure.reason );
}

std::string
PortReport::remedyOf( LinkRequest const& failure ) {
   switch ( failure.error ) {
   case EPERM:
      return "give ufdd CAP_NET_ADMIN; trying again every second";
   case EBUSY:
      return "another program uses it; trying again every second";
   case ENODEV:
      return "trying again when an interface of that name comes";
   default:
      return "trying again every second";
   }
}

std::string
PortReport::nameOf( LinkRequest const& answer ) const {
   std::string name = "port " + std::string( answer.port.name().view() );
   Link const* const link = links_.link( answer.index );
   bool isOwn = link && link->name.view() == answer.port.name().view();
   links_.forEachName( answer.index, [ & ]( Kelnet::IntfId own ) { isOwn |= own == answer.port; } );
   if ( link && !isOwn )
      name += " (member " + std::string( link->name.view() ) + ")";
   return name;
}

} // namespace Ufdd
