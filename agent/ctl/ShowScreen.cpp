#include "agent/ctl/ShowScreen.h"

#include "agent/ctl/Words.h"

#include <algorithm>
#include <map>

namespace Ufdd {

using UplinkFailureDetection::GroupLinkStatus;

namespace {

constexpr std::size_t wrongLimit = 12; // Of those in a block that are wrong.
constexpr std::size_t goodLimit = 4;   // Of those in order.

void
addWord( std::string& list, std::string_view word ) {
   list.append( list.empty() ? "" : " " ).append( word );
}

std::string
orDash( std::string const& text ) {
   return text.empty() ? "-" : text;
}

// How long an entity has been as it is: "12 s".
template < class Entity >
std::string
forText( Entity const& entity, Moment const& now ) {
   return entity.since() > 0 ? lastingText( now.steady - entity.since() ) : "-";
}

// "   since 12:30:00.123 (12 s)"
std::string
sinceText( View::Group const& group, Moment const& now ) {
   double const since = group.isUp() ? group.state->upTime() : group.state->downTime();
   if ( since <= 0 || group.status->groupLinkStatus() == GroupLinkStatus::unknown )
      return "";
   return "   since " + clockText( since, now ) + " (" + lastingText( now.steady - since ) + ')';
}

// Adds the entities. Those that are wrong come first, and are added up to a limit. The others are
// added only if they are few.
template < class Entities, class Words >
void
addItems( Screen& screen, std::string const& label, Entities const& entities,
          std::string const& kind, std::string const& option, Words words ) {
   auto const wrong = static_cast< std::size_t >( std::ranges::count_if(
       entities, []( auto const& each ) { return severityOf( *each ) != Severity::good; } ) );
   std::size_t const good = entities.size() - wrong;
   std::size_t const shown =
       wrong > wrongLimit ? wrongLimit : wrong + ( good > goodLimit ? 0 : good );
   std::size_t width = 0;
   for ( std::size_t i = 0; i < shown; ++i )
      width = std::max( width, widthOf( Span( nameOf( *entities[ i ] ) ).text ) );
   std::vector< Line > items;
   for ( std::size_t i = 0; i < shown; ++i ) {
      Span name( nameOf( *entities[ i ] ) );
      name.text.append( width - widthOf( name.text ) + 2, ' ' );
      Line item{ name };
      std::ranges::copy( words( *entities[ i ] ), std::back_inserter( item ) );
      items.push_back( std::move( item ) );
   }
   std::string rest;
   if ( wrong > wrongLimit )
      rest = std::to_string( wrong - wrongLimit ) + " more are not " + kind + ": ufdctl show --" +
             option;
   if ( shown < std::min( wrong, wrongLimit ) + good && good > 0 )
      rest += ( rest.empty() ? "" : "; " ) + std::to_string( good ) +
              ( wrong > 0 ? " others" : "" ) + ' ' + kind;
   screen.items( label, items );
   screen.labelled( items.empty() ? label : "", rest.empty() && items.empty() ? "none" : rest );
}

void
addBlock( Screen& screen, View const& view, View::Group const& group ) {
   screen.line( { { std::string( group.name() ), Emphasis::strong },
                  { "  " },
                  statusWord( group ),
                  { "  " + countText( *group.state ) + sinceText( group, view.now ) } },
                2 );
   screen.labelled( "mode", modeText( *group.state, view.now ) );
   screen.labelled( "waits", waitText( *group.state, view.now ) );
   addItems( screen, "uplinks", group.uplinks, "up", "links",
             [ & ]( LinkState const& link ) { return linkWords( link, view.now ); } );
   if ( !group.checks.empty() )
      addItems( screen, "checks", group.checks, "up", "checks",
                [ & ]( CheckState const& check ) { return checkWords( check, view.now ); } );
   addItems( screen, "ports", group.ports, "open", "ports", [ & ]( PortState const& port ) {
      return portWords( port, *view.linkOf( port ), view.now );
   } );
   for ( View::Port const& port : group.ports )
      if ( !port->failure().empty() )
         screen.labelled( "failed",
                          nameOf( *port ) + ": " + std::string( port->failure().view() ) );
}

void
addNotices( Screen& screen, View const& view ) {
   for ( auto const& lines : { notices( view ), reminders( view ) } )
      for ( Line const& line : lines )
         screen.line( line, 2 );
   if ( view.groups.empty() )
      screen.line( { { "ufdd watches no groups: its configuration has none" } } );
}

} // namespace

std::string
groupsScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   for ( View::Group const& group : view.groups ) {
      if ( !screen.text().empty() )
         screen.line( {} );
      addBlock( screen, view, group );
   }
   std::vector< View::Port > left;
   std::ranges::copy_if( view.ports, std::back_inserter( left ), []( View::Port const& port ) {
      return port->groupMembers().count() == 0;
   } );
   if ( !left.empty() ) {
      screen.line( {} );
      screen.line(
          { { "Still shut by ufdd: no group disables them any more", Emphasis::warning } } );
      addItems( screen, "ports", left, "open", "ports", [ & ]( PortState const& port ) {
         return portWords( port, *view.linkOf( port ), view.now );
      } );
   }
   return screen.text();
}

std::string
briefScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   std::vector< Line > rows;
   for ( View::Group const& group : view.groups ) {
      auto const notOpen = std::ranges::count_if( group.ports, []( View::Port const& port ) {
         return severityOf( *port ) != Severity::good;
      } );
      std::string const remark = modeText( *group.state, view.now ).empty()
                                     ? std::string( Notify::textOf( group.state->wait() ).view() )
                                     : std::string( Notify::textOf( group.state->mode() ).view() );
      rows.push_back( { { std::string( group.name() ), Emphasis::strong },
                        statusWord( group ),
                        { countText( *group.state ) },
                        { std::to_string( notOpen ) + " of " +
                          std::to_string( group.ports.size() ) + " ports not open" },
                        { remark == "nothing" ? "" : remark, Emphasis::warning } } );
   }
   screen.table( rows );
   return screen.text();
}

std::string
portsScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   std::vector< Line > rows{ { "PORT", "STATE", "FOR", "LINK", "SHUT BY", "NOT BY" } };
   for ( View::Port const& port : view.ports ) {
      View::Link const link = view.linkOf( *port );
      std::string by;
      std::string notBy;
      port->groupMembers().forEach( [ & ]( auto const& group ) {
         bool const isBy = group.value() && !view.isDryRun( group.zetKey() );
         addWord( isBy ? by : notBy, group.zetKey().view() );
      } );
      rows.push_back( { nameOf( *port ),
                        { portText( *port ), emphasisOf( severityOf( *port ) ) },
                        { forText( *port, view.now ) },
                        { std::string( Notify::textOf( link->condition() ).view() ) },
                        orDash( by ),
                        orDash( notBy ) } );
   }
   screen.table( rows );
   return screen.text();
}

std::string
linksScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   std::map< std::string, std::pair< std::string, std::string > > groupsOf; // By link.
   for ( View::Group const& group : view.groups ) {
      for ( View::Link const& uplink : group.uplinks )
         addWord( groupsOf[ nameOf( *uplink ) ].first, group.name() );
      for ( View::Port const& port : group.ports )
         addWord( groupsOf[ nameOf( *port ) ].second, group.name() );
   }
   std::vector< Line > rows{ { "LINK", "STATE", "FOR", "UPLINK OF", "PORT OF" } };
   for ( View::Link const& link : view.links ) {
      auto const& [ uplinkOf, portOf ] = groupsOf[ nameOf( *link ) ];
      Line const words = linkWords( *link, view.now );
      rows.push_back( { nameOf( *link ),
                        words[ 0 ],
                        { forText( *link, view.now ) },
                        orDash( uplinkOf ),
                        orDash( portOf ) } );
   }
   screen.table( rows );
   return screen.text();
}

std::string
checksScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   std::vector< Line > rows{ { "CHECK", "STATE", "FOR", "UPLINKS", "KIND", "RESULT" } };
   for ( View::Check const& check : view.checks )
      rows.push_back( { nameOf( *check ),
                        { checkText( *check, view.now ), emphasisOf( severityOf( *check ) ) },
                        { forText( *check, view.now ) },
                        uplinksText( *check ),
                        std::string( check->kind().view() ),
                        orDash( std::string( check->reason().view() ) ) } );
   screen.table( rows );
   return screen.text();
}

std::string
agentScreen( View const& view, Colours colours ) {
   Screen screen( colours );
   addNotices( screen, view );
   State const& agent = *view.agent;
   auto const since = [ & ]( double time ) {
      return time > 0 ? localTime( view.now.wallAt( time ) ) + ageText( time, view.now ) + " ago"
                      : "never";
   };
   std::vector< Line > rows{
      { "version", std::string( agent.version().view() ) },
      { "started", since( agent.startTime() ) },
      { "configuration", std::string( agent.configFile().view() ) },
      { "in force since", since( agent.configTime() ) },
      { "detection", std::string( agent.detection().view() ) },
      { "acts", std::to_string( agent.acts() ) },
      { "failed acts", std::to_string( agent.failedActs() ) },
      { "changes found by querying", std::to_string( agent.foundByAsking() ) },
      { "all links read again", std::to_string( agent.overruns() ) },
   };
   unsigned int reactions = 0;
   for ( char const* const limit : State::reactionLimits )
      if ( unsigned int const count = agent.reactions( limit ) )
         rows.push_back( { "reactions within " + std::string( limit ) + " s",
                           std::to_string( reactions += count ) } );
   screen.table( rows );
   return screen.text();
}

} // namespace Ufdd
