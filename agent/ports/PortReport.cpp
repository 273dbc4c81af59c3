#include "agent/ports/PortReport.h"

#include <cerrno>
#include <cstring>

namespace Ufdd {

namespace {

using Means = LinkRequest::Means;
using UplinkFailureDetection::GroupLinkStatus;

// "5, 7"
std::string
numbersOf( std::uint32_t bits ) {
   std::string text;
   for ( unsigned int number = 0; bits; ++number, bits >>= 1 )
      if ( bits & 1 )
         text += ( text.empty() ? "" : ", " ) + std::to_string( number );
   return text;
}

// What keeps a port without carrier that we opened.
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
PortReport::tell( LogEvent::Id id, Detector::Groups const& groups, Kelnet::IntfId port,
                  std::string const& text ) {
   log_.event( { .id = id, .groups = groups.names, .port = port.name().view() }, text );
}

void
PortReport::held( std::uint32_t index, Kelnet::IntfId port, std::string_view how ) {
   Detector::Groups groups =
       detector_.groupsOf( port, GroupLinkStatus::down, Detector::DryRun::leftOut );
   if ( groups.names.empty() ) {
      groups = detector_.groupsOf( port, GroupLinkStatus::up, Detector::DryRun::leftOut );
      groups.text.insert( 0, "recovery_delay of " );
   }
   tell( LogEvent::portShut, groups, port,
         nameOf( index, port ) + " " + std::string( how ) + ": " + groups.text );
}

void
PortReport::overridden( LinkRequest const& answer, std::size_t maxReopenings ) {
   Detector::Groups const groups =
       detector_.groupsOf( answer.port, GroupLinkStatus::down, Detector::DryRun::leftOut );
   tell( LogEvent::portFailure, groups, answer.port,
         nameOf( answer.index, answer.port ) + " overridden: someone opened it more than " +
             std::to_string( maxReopenings ) +
             " times in a minute; it is left open until its groups are up, though " + groups.text );
}

void
PortReport::opened( LinkRequest const& answer ) {
   Detector::Groups groups;
   if ( !releasing_ )
      groups = detector_.groupsOf( answer.port, GroupLinkStatus::up );
   if ( !releasing_ && groups.names.empty() ) {
      groups = detector_.groupsOf( answer.port, GroupLinkStatus::down );
      groups.text.insert( 0, groups.names.empty() ? "no group disables it"
                                                  : "it need not be shut, though " );
   }
   tell( LogEvent::portReleased, groups, answer.port,
         nameOf( answer.index, answer.port ) + " released" + othersIn( answer ) + ": " +
             ( releasing_ ? "ufdd stops" : groups.text ) );
}

void
PortReport::failed( LinkRequest const& answer ) {
   tell( LogEvent::portFailure, {}, answer.port,
         nameOf( answer.index, answer.port ) + " can't be " + ( answer.up ? "released" : "shut" ) +
             ": " +
             ( answer.error == notSeen         ? "it is still as it was"
               : answer.error == otherHardware ? "its hardware address is not what it was"
                                               : std::strerror( answer.error ) ) +
             "; " + remedyOf( answer ) );
}

std::string
PortReport::remedyOf( LinkRequest const& failure ) const {
   if ( releasing_ ) {
      Link const* const link = links_.link( failure.index );
      std::string const set =
          "ip link set dev " + std::string( link ? link->name.view() : failure.port.name().view() );
      if ( failure.means == Means::adminDown )
         return "open it with: " + set + " up";
      // Whose protodown it was before, may want it still.
      return "open it with: " + set + " protodown_reason " + std::to_string( failure.reason ) +
             " off" + ( failure.means == Means::protoDown ? " && " + set + " protodown off" : "" );
   }
   switch ( failure.error ) {
   case EPERM:
      return "ufdd needs CAP_NET_ADMIN; will try again";
   case EBUSY:
      return "another program holds it; will try again";
   case ENODEV:
      return "it will be when an interface of that name comes";
   default:
      return "will try again";
   }
}

std::string
PortReport::nameOf( std::uint32_t index, Kelnet::IntfId port ) const {
   std::string name = "port " + std::string( port.name().view() );
   Link const* const link = links_.link( index );
   bool isOwn = link && link->name.view() == port.name().view();
   links_.forEachName( index, [ & ]( Kelnet::IntfId own ) { isOwn |= own == port; } );
   if ( link && !isOwn )
      name += " (member " + std::string( link->name.view() ) + ")";
   return name;
}

} // namespace Ufdd
