#include "agent/ctl/Watcher.h"

#include "agent/ctl/Words.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace Ufdd {

namespace {

// Returns why the port is as it is: "wanted shut by rack1".
std::string
reasonOf( View::Port const& port, Moment const& now ) {
   if ( !port->failure().empty() )
      return std::string( port->failure().view() );
   if ( std::string order = orderText( *port, now ); !order.empty() )
      return order;
   std::string groups;
   port->groupMembers().forEach( [ & ]( auto const& group ) {
      if ( group.value() )
         groups.append( groups.empty() ? "" : ", " ).append( group.zetKey().view() );
   } );
   return groups.empty() ? "no group wants it shut" : "wanted shut by " + groups;
}

} // namespace

Watcher::Watcher( StatusRoots const& roots, std::string const& wanted, std::ostream& out,
                  Style style, Clock clock )
    : roots_( roots ), wanted_( wanted ), out_( out ), style_( style ), clock_( clock ),
      groupTransitions_( roots.status, *this ) {}

View
Watcher::view() const {
   return { roots_, clock_() };
}

bool
Watcher::isWanted( PortState const& port ) const {
   return wanted_.empty() || port.groupMembers().find( Zet::Name( wanted_ ) );
}

void
Watcher::showStates() {
   View view = this->view();
   view.keepGroup( wanted_ );
   transitions_.clear();
   begun_ = true;
   for ( View::Group const& group : view.groups )
      if ( style_.asJson )
         object( "state", json( group, view.now ) );
      else
         line( "group " + std::string( group.name() ),
               { { "is " }, wordOf( group.status->groupLinkStatus() ) } );
   showPorts( view );
}

void
Watcher::showChanges() {
   View const view = this->view();
   for ( std::size_t i = 0; i < transitions_.size(); ++i ) {
      bool const isLast = std::none_of(
          transitions_.begin() + static_cast< std::ptrdiff_t >( i ) + 1, transitions_.end(),
          [ & ]( Transition const& later ) { return later.group == transitions_[ i ].group; } );
      show( transitions_[ i ], isLast, view );
   }
   transitions_.clear();
   showPorts( view );
}

// The roots tell only the cause of the last transition.
void
Watcher::show( Transition const& transition, bool isLast, View const& view ) {
   std::string const name( transition.group.view() );
   if ( transition.isRemoval ) {
      if ( style_.asJson )
         object( "removed", { { "group", name } } );
      else
         line( "group " + name, { { "removed" } } );
      return;
   }
   auto const group =
       std::ranges::find( view.groups, std::string_view( name ), &View::Group::name );
   bool const hasCause = isLast && group != view.groups.end();
   if ( style_.asJson ) {
      Json members = hasCause ? json( *group, view.now ) : Json{ { "group", name } };
      members[ "linkStatus" ] = stringValue( transition.now ).c_str();
      members[ "before" ] = stringValue( transition.before ).c_str();
      return object( "transition", members );
   }
   std::string const cause = hasCause ? group->state->cause().c_str() : "";
   line( "group " + name, { wordOf( transition.before ),
                            { " -> " },
                            wordOf( transition.now ),
                            { ( hasCause ? ", " + countText( *group->state ) : "" ) +
                              ( cause.empty() ? "" : ": " + cause ) } } );
}

void
Watcher::showPorts( View const& view ) {
   std::map< std::string, std::string > shown;
   for ( View::Port const& port : view.ports ) {
      if ( !isWanted( *port ) )
         continue;
      std::string const name( port->zetName().view() );
      std::string const text = portText( *port );
      shown.emplace( name, text );
      auto const before = ports_.find( name );
      if ( before == ports_.end() ? severityOf( *port ) == Severity::good : before->second == text )
         continue;
      if ( style_.asJson )
         object( before == ports_.end() ? "state" : "transition", json( *port, view.now ) );
      else
         line( "port " + name, { { before == ports_.end() ? "is " : before->second + " -> " },
                                 { text, emphasisOf( severityOf( *port ) ) },
                                 { ": " + reasonOf( port, view.now ) } } );
   }
   ports_ = std::move( shown );
}

void
Watcher::handleLoss( std::string const& socket ) {
   if ( style_.asJson )
      object( "lost", { { "socket", socket } } );
   else
      line( "", { { "lost ufdd at " + socket + "; waiting for it to come back" } } );
}

void
Watcher::handleResync( std::string const& socket ) {
   if ( style_.asJson )
      object( "resync", { { "socket", socket } } );
   else
      line( "", { { "ufdd at " + socket + " is back; the changes since then follow" } } );
}

void
Watcher::handleTransition( Zet::Name const& name, GroupLinkStatus before, GroupLinkStatus now ) {
   if ( begun_ && ( wanted_.empty() || name == wanted_.c_str() ) )
      transitions_.push_back( { name, before, now, false } );
}

void
Watcher::handleGroupGone( Zet::Name const& name ) {
   if ( begun_ && ( wanted_.empty() || name == wanted_.c_str() ) )
      transitions_.push_back( { name, GroupLinkStatus::unknown, GroupLinkStatus::unknown, true } );
}

void
Watcher::line( std::string const& subject, Line rest ) {
   Span name( subject );
   std::size_t const width = widthOf( name.text );
   subjectWidth_ = std::max( subjectWidth_, width );
   if ( !subject.empty() )
      name.text.append( subjectWidth_ - width + 2, ' ' );
   rest.insert( rest.begin(), { { localTime( clock_().wall ) + "  " }, name } );
   out_ << Screen::unbroken( rest, style_.colours ) << std::endl;
}

void
Watcher::object( std::string const& event, Json const& members ) {
   Json object = jsonOf( "watch", clock_() );
   object[ "event" ] = event;
   object.update( members );
   out_ << lineOf( object ) << std::flush;
}

} // namespace Ufdd
