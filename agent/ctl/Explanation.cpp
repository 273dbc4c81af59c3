#include "agent/ctl/Explanation.h"

#include "agent/ctl/Words.h"

#include <algorithm>
#include <utility>

namespace Ufdd {

using UplinkFailureDetection::GroupLinkStatus;

namespace {

bool
isDown( View::Group const& group ) {
   return group.status->groupLinkStatus() == GroupLinkStatus::down;
}

std::string
stateText( PortState const& port ) {
   switch ( port.condition() ) {
   case PortCondition::open:
      return "open";
   case PortCondition::opening:
      return "shut by ufdd, and about to be opened";
   case PortCondition::shut:
      return "shut by ufdd";
   case PortCondition::ordered:
      return "shut by ufdd, as an operator ordered";
   case PortCondition::latched:
      return "shut by ufdd, until an operator clears it";
   case PortCondition::foreign:
      return "administratively down, and not by ufdd";
   case PortCondition::shutting:
      return "about to be shut by ufdd";
   case PortCondition::failed:
      return isWantedShut( port ) ? "still open (ufdd can't shut it)"
                                  : "still shut (ufdd can't open it)";
   case PortCondition::absent:
      return "absent: there is no such interface to be shut";
   case PortCondition::overridden:
      return "opened by hand or cleared, and left open by ufdd";
   case PortCondition::isProtected:
      return "open (the configuration protects it)";
   case PortCondition::defaultRoute:
      return "open (it carries the default route)";
   case PortCondition::dryRun:
      return "open (only groups in dry run would shut it)";
   }
   return std::string( Notify::textOf( port.condition() ).view() );
}

// "group rack1 is down: 0/2 up, needs 1", with what keeps it from what it would do otherwise.
std::string
groupText( View::Group const& group, bool wantsShut, Moment const& now ) {
   std::string text = "group " + std::string( group.name() );
   if ( isDown( group ) )
      text += " is down";
   else if ( wantsShut && group.state->mode() != GroupMode::orderedDown )
      text += " was down, and is " +
              std::string( stringValue( group.status->groupLinkStatus() ).view() ) + " again";
   text += ": " + countText( *group.state );
   for ( std::string const& more :
         { modeText( *group.state, now ), waitText( *group.state, now ) } )
      text += ( more.empty() ? "" : "; " ) + more;
   return text;
}

std::string
uplinksText( unsigned int count ) {
   return std::to_string( count ) + " more uplink" + ( count == 1 ? "" : "s" );
}

// When the group no longer wants its ports shut.
std::string
openingText( View::Group const& group, Moment const& now ) {
   GroupState const& state = *group.state;
   std::string const name( group.name() );
   if ( !state.autoRecover() )
      return "once an operator clears it (" + name + " has auto_recover = false)";
   if ( !isDown( group ) && state.wait() == WaitReason::recoveryDelay )
      return "in " + untilText( state.waitTime(), now ) + ", if " + name +
             " stays up (recovery_delay)";
   std::string const route = routeWords( state.releaseWhen() ) + " (release_when)";
   if ( !isDown( group ) && state.wait() == WaitReason::releaseWhen )
      return "once " + route + ", else in " + untilText( state.waitTime(), now );
   unsigned int const missing =
       state.neededLinks() > state.upLinks() ? state.neededLinks() - state.upLinks() : 0;
   return "once " + name +
          ( state.recoveryDelay() > 0
                ? " has been up for " + delayText( state.recoveryDelay() ) + " (recovery_delay)"
                : " is up" ) +
          ( missing > 0 ? ", which takes " + uplinksText( missing ) : "" ) +
          ( state.releaseWhen().empty() ? "" : ", and " + route );
}

// When the group wants its ports shut.
std::string
shuttingText( View::Group const& group, Moment const& now ) {
   GroupState const& state = *group.state;
   std::string const name( group.name() );
   if ( isDown( group ) && state.waitTime() > 0 )
      return "in " + untilText( state.waitTime(), now ) + ", if " + name + " stays down (" +
             std::string( Notify::textOf( state.wait() ).view() ) + ")";
   if ( isDown( group ) || state.neededLinks() == 0 || state.upLinks() < state.neededLinks() )
      return "";
   return "once " + name + " loses " + uplinksText( state.upLinks() - state.neededLinks() + 1 ) +
          ( state.downDelay() > 0 ? " for " + delayText( state.downDelay() ) + " (down_delay)"
                                  : "" );
}

std::string
headline( PortState const& port, Moment const& now ) {
   std::string const means = meansText( port.means() );
   std::string const state = stateText( port );
   char const* const comma = state.find_first_of( ",:" ) != state.npos ? "," : "";
   return nameOf( port ) + ": " + state +
          ( port.since() > 0 ? comma + ( " since " + localTime( now.wallAt( port.since() ) ) +
                                         ageText( port.since(), now ) + " ago" )
                             : "" ) +
          ( means.empty() ? "" : " (" + means + ')' );
}

} // namespace

Explanation::Explanation( View const& view, std::string const& port )
    : view_( view ), port_( view.port( port ) ), link_( view.linkOf( *port_ ) ) {
   bool const isDryRun = port_->condition() == PortCondition::dryRun;
   for ( View::Group const& group : view.groups )
      if ( auto const* const member = port_->groupMembers().find( group.state->zetName() ) ) {
         bool const isReason =
             member->value() && ( isDryRun || !view.isDryRun( group.state->zetName() ) );
         ( isReason ? because_ : notBy_ ).push_back( &group );
      }
   headline_ = headline( *port_, view.now );
   add( "failed", std::string( port_->failure().view() ) );
   bool const isShutByUs = port_->means() != PortMeans::none;
   if ( !isShutByUs && link_->condition() != LinkCondition::up )
      add( "link", plainText( linkWords( *link_, view.now ) ) + "; not ufdd's doing" );
   add( "order", orderText( *port_, view.now ) );
   addGroups( "because", true );
   addGroups( "not by", false );
   if ( because_.empty() && notBy_.empty() )
      add( "because", "no group disables it any more; ufdd is about to open it" );
   addChanges();
   addRemedy();
}

void
Explanation::add( std::string const& label, std::string text ) {
   if ( !text.empty() )
      remarks_.push_back( { label, std::move( text ) } );
}

void
Explanation::addGroups( std::string const& label, bool wantsShut ) {
   std::string next = label;
   for ( View::Group const* const group : wantsShut ? because_ : notBy_ ) {
      std::size_t width = 0;
      for ( View::Link const& uplink : group->uplinks )
         width = std::max( width, uplink->zetName().view().size() );
      add( std::exchange( next, "and" ), groupText( *group, wantsShut, view_.now ) );
      if ( std::string const order = orderText( *group->state, view_.now ); !order.empty() )
         add( "", "  " + order );
      if ( !wantsShut && !isDown( *group ) )
         continue;
      // The uplinks that are not up come first.
      for ( View::Link const& uplink : group->uplinks )
         if ( severityOf( *uplink ) != Severity::good ) {
            std::string name( uplink->zetName().view() );
            name.resize( width, ' ' );
            add( "", "  " + name + "  " + plainText( linkWords( *uplink, view_.now ) ) );
         }
   }
}

// Says when the port is opened, or shut, if nobody interferes.
void
Explanation::addChanges() {
   switch ( port_->condition() ) {
   case PortCondition::foreign:
      return add( "opens", "once someone sets it up, and its groups are up; ufdd does not" );
   case PortCondition::latched:
      return add( "opens", "once an operator clears it: ufdctl clear " + nameOf( *port_ ) );
   case PortCondition::ordered:
      return addEndsOfOrders();
   case PortCondition::absent:
      return add( "shuts", "as soon as there is such an interface, unless its groups are up then" );
   case PortCondition::isProtected:
   case PortCondition::defaultRoute:
   case PortCondition::dryRun:
      return;
   case PortCondition::overridden:
      return add( "shuts", "the next time that its groups go down, once they have been up" );
   default:
      break;
   }
   bool const isWanted = !because_.empty();
   if ( isWanted && port_->condition() == PortCondition::open )
      return add( "shuts", std::ranges::any_of( because_,
                                                []( View::Group const* group ) {
                                                   return group->state->mode() ==
                                                          GroupMode::unproven;
                                                } )
                               ? "once the uplinks that were never there have existed and are down"
                               : "once startup_hold has passed, unless its groups are up by then" );
   std::string label = isWanted ? "opens" : "shuts";
   for ( View::Group const* const group : isWanted ? because_ : notBy_ ) {
      std::string const text =
          isWanted ? openingText( *group, view_.now ) : shuttingText( *group, view_.now );
      if ( !text.empty() )
         add( std::exchange( label, isWanted ? "and" : "or" ), text );
   }
}

// Says what an operator can do about it now.
void
Explanation::addRemedy() {
   if ( port_->condition() == PortCondition::foreign )
      return add( "command", "ip link set dev " + nameOf( *port_ ) + " up" );
   bool const isOrdered = port_->condition() == PortCondition::ordered;
   bool const isLatched = port_->condition() == PortCondition::latched;
   if ( because_.empty() || port_->means() == PortMeans::none || isOrdered || isLatched )
      return;
   std::string names;
   for ( View::Group const* const group : because_ )
      names += ( names.empty() ? "" : ", " ) + std::string( group->name() );
   add( "or", "ufdctl clear " + nameOf( *port_ ) + "    opens it now, until " + names +
                  ( because_.size() == 1 ? " is up" : " are up" ) );
}

// Says how the orders end that keep the port shut, and those of the configuration.
void
Explanation::addEndsOfOrders() {
   std::string label = "opens";
   auto const addEnd = [ & ]( auto const& entity ) {
      if ( entity.order() == OrderKind::down )
         add( std::exchange( label, "and" ),
              ( entity.orderEndTime() > 0
                    ? "in " + untilText( entity.orderEndTime(), view_.now ) + ", or "
                    : "" ) +
                  "once the order ends: ufdctl auto " + nameOf( entity ) );
   };
   addEnd( *port_ );
   for ( auto const* const some : { &because_, &notBy_ } )
      for ( View::Group const* const group : *some )
         if ( group->state->mode() == GroupMode::orderedDown ) {
            addEnd( *group->state );
            if ( group->state->order() == OrderKind::none )
               add( std::exchange( label, "and" ),
                    "once " + nameOf( *group->state ) + " has no force_down in the configuration" );
         }
}

std::string
Explanation::text( Colours colours ) const {
   Screen screen( colours );
   for ( Line const& line : notices( view_ ) )
      screen.line( line, 2 );
   screen.line( { { headline_, emphasisOf( severityOf( *port_ ) ) } }, 2 );
   for ( Remark const& remark : remarks_ )
      screen.labelled( remark.label, remark.text );
   return screen.text();
}

Json
Explanation::json() const {
   Json object = jsonOf( "explain", view_.now );
   object[ "port" ] = Ufdd::json( *port_, view_.now );
   object[ "link" ] = Ufdd::json( *link_, view_.now );
   Json& groups = object[ "groups" ] = Json::array();
   for ( auto const* const some : { &because_, &notBy_ } )
      for ( View::Group const* const group : *some )
         groups.push_back( Ufdd::json( *group, view_.now ) );
   Json& texts = object[ "explanation" ] = Json::array( { headline_ } );
   for ( Remark const& remark : remarks_ )
      texts.push_back( remark.label + ( remark.label.empty() ? "" : " " ) + remark.text );
   return object;
}

} // namespace Ufdd
