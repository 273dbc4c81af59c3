#include "agent/ctl/Watcher.h"

#include "agent/base/Printable.h"
#include "agent/ctl/TextTable.h"
#include "model/GroupStatus.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::Status;

Watcher::Watcher( Zet::Ptr< Status > const& status, std::string const& wanted, std::ostream& out,
                  Style style, Clock clock )
    : status_( status ), wanted_( wanted ), out_( out ), style_( style ), clock_( clock ),
      transitions_( status, *this ) {}

bool
Watcher::shows( Zet::Name const& name ) const {
   return begun_ && ( wanted_.empty() || name == wanted_.c_str() );
}

void
Watcher::showStates() {
   auto const groups = groupsShown( *status_, wanted_ );
   begun_ = true;
   for ( auto const& group : groups )
      nameWidth_ = std::max( nameWidth_, TextTable::width( printable( group->zetName().view() ) ) );
   for ( auto const& group : groups )
      if ( style_.asJson )
         object( "state", { { "group", group->zetName().c_str() },
                            { "to", stringValue( group->groupLinkStatus() ).c_str() } } );
      else
         line( padded( group->zetName() ) + "is " + word( group->groupLinkStatus() ) );
}

void
Watcher::handleLoss( std::string const& socket ) {
   if ( style_.asJson )
      object( "lost", { { "socket", socket } } );
   else
      line( "lost ufdd at " + printable( socket ) + "; waiting for it to come back" );
}

void
Watcher::handleResync( std::string const& socket ) {
   if ( style_.asJson )
      object( "resync", { { "socket", socket } } );
   else
      line( "ufdd at " + printable( socket ) + " is back; what has changed meanwhile follows" );
}

void
Watcher::handleGroupGone( Zet::Name const& name ) {
   if ( !shows( name ) )
      return;
   if ( style_.asJson )
      object( "removed", { { "group", name.c_str() } } );
   else
      line( padded( name ) + "removed" );
}

void
Watcher::handleTransition( Zet::Name const& name, LinkStatus before, LinkStatus now ) {
   if ( !shows( name ) )
      return;
   if ( style_.asJson )
      object( "transition", { { "group", name.c_str() },
                              { "from", stringValue( before ).c_str() },
                              { "to", stringValue( now ).c_str() } } );
   else
      line( padded( name ) + word( before ) + " -> " + word( now ) );
}

std::string
Watcher::padded( Zet::Name const& name ) {
   std::string const shown = printable( name.view() );
   std::size_t const width = TextTable::width( shown );
   nameWidth_ = std::max( nameWidth_, width );
   return shown + std::string( nameWidth_ - width + 2, ' ' );
}

std::string
Watcher::word( LinkStatus status ) const {
   return TextTable::coloured( stringValue( status ).view(),
                               style_.colours == Colours::terminal ? colourOf( status ) : "" );
}

void
Watcher::line( std::string const& text ) {
   out_ << localTime( clock_() ) << "  " << text << std::endl;
}

void
Watcher::object( std::string_view event, std::initializer_list< Field > fields ) {
   using Json = nlohmann::ordered_json;
   Json object{ { "time", utcTime( clock_() ) }, { "event", event } };
   for ( auto const& [ name, value ] : fields )
      object[ name ] = value;
   out_ << object.dump( -1, ' ', true, Json::error_handler_t::replace ) << std::endl;
}

} // namespace Ufdd
