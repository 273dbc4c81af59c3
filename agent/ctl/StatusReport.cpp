#include "agent/ctl/StatusReport.h"

#include "agent/base/NearestWord.h"
#include "agent/ctl/TextTable.h"
#include "model/GroupStatus.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <stdexcept>

namespace Ufdd {

using UplinkFailureDetection::GroupLinkStatus;
using UplinkFailureDetection::GroupStatus;
using UplinkFailureDetection::Status;

namespace {

using Json = nlohmann::ordered_json;
using Group = Zet::Ptr< GroupStatus const >;

// "12 s ago", "3 min ago", "2 h 5 min ago", "4 d 3 h ago"
std::string
ago( double seconds ) {
   auto const whole = static_cast< long long >( std::max( seconds, 0.0 ) );
   auto const in = []( long long number, char const* unit ) {
      return std::to_string( number ) + ' ' + unit + ' ';
   };
   long long const minutes = whole / 60;
   long long const hours = minutes / 60;
   if ( minutes == 0 )
      return in( whole, "s" ) + "ago";
   if ( hours == 0 )
      return in( minutes, "min" ) + "ago";
   if ( hours < 24 )
      return in( hours, "h" ) + in( minutes % 60, "min" ) + "ago";
   return in( hours / 24, "d" ) + in( hours % 24, "h" ) + "ago";
}

bool
wasDisabled( GroupStatus const& group ) {
   return group.prevDisabledTime() > 0;
}

std::string
lastDisabled( GroupStatus const& group, Moment const& now ) {
   double const time = group.prevDisabledTime();
   return wasDisabled( group ) ? localTime( now.wallAt( time ) ) + ", " + ago( now.steady - time )
                               : "never";
}

[[noreturn]] void
throwUnknownGroup( Status const& status, std::string const& wanted ) {
   auto const all = groupsShown( status, "" );
   std::vector< std::string_view > names;
   names.reserve( all.size() );
   for ( Group const& group : all )
      names.push_back( group->zetName().view() );
   auto const nearest = nearestWord( wanted, names );
   throw std::runtime_error( "there is no group \"" + wanted + "\"; " +
                             ( nearest         ? "did you mean " + std::string( *nearest ) + "?"
                               : names.empty() ? "ufdd has no groups"
                                               : "\"ufdctl show\" lists all groups" ) );
}

} // namespace

std::string_view
colourOf( GroupLinkStatus status ) {
   switch ( status ) {
   case GroupLinkStatus::up:
      return "\x1b[32m";
   case GroupLinkStatus::down:
      return "\x1b[31m";
   default:
      return "\x1b[33m";
   }
}

std::vector< Group >
groupsShown( Status const& status, std::string const& wanted ) {
   std::vector< Group > groups;
   for ( auto group = status.groupIteratorConst(); group; ++group )
      if ( wanted.empty() || group->zetName() == wanted.c_str() )
         groups.emplace_back( &*group );
   if ( groups.empty() && !wanted.empty() )
      throwUnknownGroup( status, wanted );
   std::sort( groups.begin(), groups.end(), []( Group const& left, Group const& right ) {
      return left->zetName() < right->zetName();
   } );
   return groups;
}

std::string
statusTable( Status const& status, std::string const& wanted, Moment const& now, Colours colours ) {
   auto const groups = groupsShown( status, wanted );
   if ( groups.empty() )
      return "ufdd watches no groups: its configuration has none\n";
   TextTable table( "", { "GROUP", "STATUS", "TIMES DISABLED", "LAST DISABLED" } );
   for ( Group const& group : groups ) {
      TextTable::Cell link{ stringValue( group->groupLinkStatus() ).c_str() };
      if ( colours == Colours::terminal )
         link.colour = colourOf( group->groupLinkStatus() );
      table.row( { { group->zetName().c_str() },
                   link,
                   { std::to_string( group->numTimesDisabled() ) },
                   { lastDisabled( *group, now ) } } );
   }
   return table.text();
}

std::string
statusJson( Status const& status, std::string const& wanted, Moment const& now ) {
   Json groups = Json::array();
   for ( Group const& group : groupsShown( status, wanted ) ) {
      double const time = group->prevDisabledTime();
      Json last;
      Json seconds;
      if ( wasDisabled( *group ) ) {
         last = utcTime( now.wallAt( time ) );
         seconds = now.steady - time;
      }
      groups.push_back( { { "group", group->zetName().c_str() },
                          { "linkStatus", stringValue( group->groupLinkStatus() ).c_str() },
                          { "timesDisabled", group->numTimesDisabled() },
                          { "lastDisabled", last },
                          { "secondsSince", seconds } } );
   }
   // The name of a group need not be valid UTF-8.
   return Json{ { "groups", groups } }.dump( 2, ' ', true, Json::error_handler_t::replace ) + '\n';
}

} // namespace Ufdd
