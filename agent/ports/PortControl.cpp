#include "agent/ports/PortControl.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Ufdd {

PortControl::PortControl( Detector& detector, LinkDirectory const& links,
                          DefaultRouteLinks const& defaultRoutes, LinkControl& control,
                          OwnedLinkStore& store, Log& log )
    : detector_( detector ), links_( links ), defaultRoutes_( defaultRoutes ), owned_( store, log ),
      acts_( links, control, owned_ ) {}

PortControl::Rule
PortControl::ruleFor( Link const& link, Kelnet::IntfId port, bool isOrdered, bool isForced ) const {
   if ( isProtected( link ) )
      return Rule::isProtected;
   if ( isOrdered )
      return defaultRoutes_.carries( link.index ) && !isForced ? Rule::defaultRoute : Rule::ordered;
   if ( owned_.isOverridden( link.index ) )
      return Rule::overridden;
   if ( detector_.reasons().isLeftAlone( port ) )
      return Rule::leftAlone;
   return defaultRoutes_.carries( link.index ) && !isForced ? Rule::defaultRoute : Rule::groups;
}

PortControl::Rule
PortControl::ruleFor( Link const& link, Kelnet::IntfId port ) const {
   PortReasons const& reasons = detector_.reasons();
   // Few links carry the default route. For the others the answer makes no difference.
   bool const isForced =
       !defaultRoutes_.carries( link.index ) || reasons.allowsDefaultRoute( port );
   return ruleFor( link, port, reasons.isOrderedDown( port ), isForced );
}

std::optional< PortResult::Kind >
PortControl::whySpared( Link const& link, Rule rule ) const {
   OwnedLink const* const owned = owned_.find( link.index );
   if ( owned ? owned->isApplied( link ) : !link.adminUp )
      return {};
   return rule == Rule::leftAlone      ? std::optional( PortResult::Kind::leftAlone )
          : rule == Rule::defaultRoute ? std::optional( PortResult::Kind::defaultRoute )
                                       : std::nullopt;
}

void
PortControl::reviewSpared() {
   std::erase_if( spared_, [ this ]( auto const& spared ) {
      Link const* const link = links_.link( spared.first );
      if ( !link )
         return true;
      Kelnet::IntfId const port = portOf( *link );
      // The link may have been renamed, or have left its LAG.
      if ( !detector_.decisions().mustBeShut( port ) )
         return true;
      if ( owned_.contains( spared.first ) ||
           whySpared( *link, ruleFor( *link, port ) ) != spared.second )
         review( port );
      return false;
   } );
}

void
PortControl::spare( Link const& link, Kelnet::IntfId port, PortResult::Kind why ) {
   // The message may be outdated: the link may be shut again.
   if ( OwnedLink const* const owned = owned_.find( link.index ) )
      acts_.disownIfOpen( *owned );
   bool const isOurs = owned_.contains( link.index );
   if ( !isOurs && !link.adminUp ) {
      // Somebody keeps it down. Then this shuts nothing, but notes that it was found so.
      spared_.erase( link.index );
      acts_.queueShut( link, port, reason_, false );
      return;
   }
   spared_.insert_or_assign( link.index, why );
   if ( !isOurs )
      acts_.noteLeftOpen( link, port, why );
}

void
PortControl::shut( Kelnet::IntfId port ) {
   for ( Link const& link : linksOfPort_ ) {
      Rule const rule = ruleFor( link, port );
      if ( rule == Rule::isProtected ) {
         spared_.erase( link.index );
         acts_.noteLeftOpen( link, port, PortResult::Kind::isProtected );
      } else if ( auto const why = whySpared( link, rule ) ) {
         spare( link, port, *why );
      } else {
         spared_.erase( link.index );
         if ( rule != Rule::overridden )
            acts_.queueShut( link, port, reason_, rule == Rule::ordered );
      }
   }
}

void
PortControl::review( Kelnet::IntfId port ) {
   if ( changedSet_.insert( port ).second )
      changed_.push_back( port );
}

void
PortControl::protectedAre( std::vector< std::string > const& names ) {
   std::set< std::string, std::less<> > wanted( names.begin(), names.end() );
   if ( wanted == protected_ )
      return;
   protected_ = std::move( wanted );
   reviewAll();
}

void
PortControl::reviewAll() {
   for ( auto group = detector_.config->groupIteratorConst(); group; ++group )
      for ( auto port = group->intfsToDisableIteratorConst(); port; ++port )
         review( port.key() );
}

bool
PortControl::isProtected( Link const& link ) const {
   if ( protected_.empty() )
      return false;
   auto const hasName = [ & ]( Link const& named ) {
      return protected_.contains( named.name.view() ) ||
             std::ranges::any_of( named.altNames, [ & ]( std::string const& name ) {
                return protected_.contains( name );
             } );
   };
   Link const* const master = links_.link( link.master );
   return hasName( link ) || ( master && master->isLag && hasName( *master ) );
}

Kelnet::IntfId
PortControl::portOf( Link const& link ) const {
   Kelnet::IntfId port;
   auto const find = [ & ]( Kelnet::IntfId name ) {
      if ( port == Kelnet::IntfId() || ( detector_.decisions().mustBeShut( name ) &&
                                         !detector_.decisions().mustBeShut( port ) ) )
         port = name;
   };
   links_.forEachName( link.index, find );
   if ( Link const* const master = links_.link( link.master ); master && master->isLag )
      links_.forEachName( master->index, find );
   // Only for our links, since the process keeps every id that it has made.
   if ( port == Kelnet::IntfId() && owned_.contains( link.index ) )
      port = Kelnet::IntfId( link.name.view() );
   return port;
}

void
PortControl::collectLinks( Kelnet::IntfId port ) {
   linksOfPort_.clear();
   Link const* const link = links_.link( port );
   if ( link && link->isLag )
      links_.collectMembers( link->index, linksOfPort_ );
   else if ( link )
      linksOfPort_.push_back( *link );
}

void
PortControl::handleLink( Link const& link ) {
   owned_.addressIs( link.index, link.address );
   Kelnet::IntfId const port = portOf( link );
   // A LAG may just have lost the name of the port for which its members are shut.
   if ( detector_.decisions().mustBeShut( port ) || owned_.contains( link.index ) ||
        owned_.isOverridden( link.index ) || link.isLag )
      review( port );
}

void
PortControl::handleRenamed( std::uint32_t index, InterfaceName const& name ) {
   owned_.eraseOverride( index );
   if ( owned_.rename( index, name ) )
      review( Kelnet::IntfId( name.view() ) );
}

void
PortControl::retry() {
   for ( auto const& [ index, up ] : acts_.takeFailed() )
      if ( Link const* const link = links_.link( index ) )
         review( portOf( *link ) );
   owned_.retry();
}

bool
PortControl::wasSetDown( std::uint32_t index ) const {
   OwnedLink const* const owned = owned_.find( index );
   return owned && owned->means == LinkRequest::Means::adminDown;
}

bool
PortControl::isOursOrOverridden( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::any_of( linksOfPort_.begin(), linksOfPort_.end(), [ this ]( Link const& link ) {
      return owned_.contains( link.index ) || owned_.isOverridden( link.index );
   } );
}

void
PortControl::act() {
   for ( auto const& change : detector_.decisions().takeChanges() )
      review( change.port );
   reviewSpared();
   if ( !changed_.empty() ) {
      owned_.eraseOverridesIf( [ this ]( std::uint32_t index ) {
         Link const* const link = links_.link( index );
         Kelnet::IntfId const port = link ? portOf( *link ) : Kelnet::IntfId();
         return !link || !detector_.decisions().mustBeShut( port ) ||
                detector_.reasons().isOrderedDown( port );
      } );
      for ( Kelnet::IntfId const port : changed_ ) {
         collectLinks( port );
         if ( detector_.decisions().mustBeShut( port ) )
            shut( port );
         else
            for ( Link const& link : linksOfPort_ ) {
               acts_.forgetNotes( link.index );
               spared_.erase( link.index );
            }
      }
      for ( auto const& [ index, owned ] : owned_ ) {
         Link const* const link = links_.link( index );
         Kelnet::IntfId const port = link ? portOf( *link ) : Kelnet::IntfId( owned.name.view() );
         if ( !detector_.decisions().mustBeShut( port ) || owned_.isOverridden( index ) ||
              ( link && isProtected( *link ) ) )
            acts_.queueOpen( owned, port );
      }
      acts_.act();
      reviewed_.insert( reviewed_.end(), changed_.begin(), changed_.end() );
      changed_.clear();
      changedSet_.clear();
   }
   // Needed without acts as well: links may have gone, or an earlier try may have failed.
   owned_.remember();
}

PortCondition
PortControl::conditionOf( Link const& link, Kelnet::IntfId port ) const {
   bool const mustBeShut = detector_.decisions().mustBeShut( port );
   bool const isOurs = owned_.contains( link.index );
   if ( !mustBeShut && !isOurs )
      return PortCondition::open;
   if ( !isOurs && !link.adminUp && acts_.wasFoundDown( link.index ) )
      return PortCondition::foreign;
   if ( acts_.hasFailed( link.index ) )
      return PortCondition::failed;
   if ( !mustBeShut )
      return PortCondition::opening;
   if ( isProtected( link ) )
      return PortCondition::isProtected;
   if ( auto const spared = spared_.find( link.index ); !isOurs && spared != spared_.end() )
      return spared->second == PortResult::Kind::defaultRoute ? PortCondition::defaultRoute
                                                              : PortCondition::open;
   if ( owned_.isOverridden( link.index ) )
      return isOurs ? PortCondition::opening : PortCondition::overridden;
   return !isOurs                                     ? PortCondition::shutting
          : detector_.reasons().isOrderedDown( port ) ? PortCondition::ordered
          : detector_.reasons().isLatched( port )     ? PortCondition::latched
                                                      : PortCondition::shut;
}

PortControl::View
PortControl::viewOf( Kelnet::IntfId port ) {
   // The conditions of a LAG's members, by what the LAG's is if they differ.
   constexpr std::array precedence{ PortCondition::failed,      PortCondition::shutting,
                                    PortCondition::isProtected, PortCondition::defaultRoute,
                                    PortCondition::overridden,  PortCondition::opening,
                                    PortCondition::ordered,     PortCondition::latched,
                                    PortCondition::shut,        PortCondition::foreign,
                                    PortCondition::open };
   bool const mustBeShut = detector_.decisions().mustBeShut( port );
   collectLinks( port );
   Link const* const named = links_.link( port );
   // No group names the port any more, but it is still ours.
   if ( !named )
      for ( auto const& [ index, owned ] : owned_ )
         if ( Link const* const link = links_.link( index ); link && portOf( *link ) == port )
            linksOfPort_.push_back( *link );
   View view{ mustBeShut ? PortCondition::absent : PortCondition::open, PortMeans::none };
   auto place = precedence.end();
   for ( Link const& link : linksOfPort_ ) {
      place = std::min( place, std::ranges::find( precedence, conditionOf( link, port ) ) );
      if ( OwnedLink const* const owned = owned_.find( link.index ) )
         view.means = named && named->isLag                           ? PortMeans::members
                      : owned->means == LinkRequest::Means::adminDown ? PortMeans::down
                                                                      : PortMeans::protodown;
   }
   if ( place != precedence.end() )
      view.condition = *place;
   return view;
}

int
PortControl::clear( std::span< Kelnet::IntfId const > ports ) {
   std::vector< std::uint32_t > added;
   for ( Kelnet::IntfId const port : ports ) {
      collectLinks( port );
      for ( Link const& link : linksOfPort_ ) {
         if ( owned_.isOverridden( link.index ) )
            continue;
         OwnedLink const* const owned = owned_.find( link.index );
         owned_.insertOverride( owned ? *owned : OwnedLink{ link.index, link.name, link.address } );
         added.push_back( link.index );
         acts_.forgetFailure( link.index );
      }
      review( port );
   }
   owned_.remember();
   int const error = added.empty() ? 0 : owned_.error();
   if ( error ) {
      for ( std::uint32_t const index : added )
         owned_.eraseOverride( index );
      owned_.remember();
   }
   return error;
}

bool
PortControl::wouldShut( Kelnet::IntfId port, bool isOrdered, bool isForced ) {
   collectLinks( port );
   return std::ranges::any_of( linksOfPort_, [ & ]( Link const& link ) {
      Rule const rule = ruleFor( link, port, isOrdered, isForced );
      return link.adminUp && !owned_.contains( link.index ) &&
             ( rule == Rule::ordered || rule == Rule::groups );
   } );
}

bool
PortControl::exists( Kelnet::IntfId port ) {
   collectLinks( port );
   return !linksOfPort_.empty();
}

bool
PortControl::isProtected( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::ranges::any_of( linksOfPort_,
                               [ this ]( Link const& link ) { return isProtected( link ); } );
}

bool
PortControl::carriesDefaultRoute( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::ranges::any_of( linksOfPort_, [ this ]( Link const& link ) {
      return defaultRoutes_.carries( link.index );
   } );
}

bool
PortControl::isOurs( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::ranges::any_of(
       linksOfPort_, [ this ]( Link const& link ) { return owned_.contains( link.index ); } );
}

bool
PortControl::openAll() {
   owned_.eraseOverridesIf( []( std::uint32_t ) { return true; } );
   bool const isDone = acts_.openAll();
   owned_.remember();
   return isDone;
}

} // namespace Ufdd
