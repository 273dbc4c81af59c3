#include "agent/ports/PortHolder.h"

#include <algorithm>

namespace Ufdd {

PortHolder::PortHolder( Detector& detector, LinkDirectory const& links, LinkControl& control,
                        Ownership& ownership, Log& log )
    : detector_( detector ), links_( links ), holdings_( ownership, log ),
      acts_( detector, links, control, holdings_, log ) {}

std::string
PortHolder::overridden() const {
   std::string names;
   for ( auto const& [ index, override ] : holdings_.overrides() )
      if ( Link const* const link = links_.link( index ) )
         names.append( 1, ' ' ).append( link->name.view() );
   return names;
}

void
PortHolder::handleChange( Kelnet::IntfId port ) {
   if ( isChanged_.insert( port ).second )
      changed_.push_back( port );
}

Kelnet::IntfId
PortHolder::portOf( Link const& link ) const {
   Kelnet::IntfId port;
   auto const find = [ & ]( Kelnet::IntfId name ) {
      if ( port == Kelnet::IntfId() ||
           ( detector_.mustBeShut( name ) && !detector_.mustBeShut( port ) ) )
         port = name;
   };
   links_.forEachName( link.index, find );
   if ( Link const* const master = links_.link( link.master ); master && master->isLag )
      links_.forEachName( master->index, find );
   // Only for links of ours, since each name that gets an id keeps it for good.
   if ( port == Kelnet::IntfId() && holdings_.contains( link.index ) )
      port = Kelnet::IntfId( link.name.view() );
   return port;
}

void
PortHolder::collectLinks( Kelnet::IntfId port ) {
   ofPort_.clear();
   Link const* const link = links_.link( port );
   if ( link && link->isLag )
      links_.collectMembers( link->index, ofPort_ );
   else if ( link )
      ofPort_.push_back( *link );
}

void
PortHolder::handleLink( Link const& link ) {
   holdings_.addressIs( link.index, link.address );
   Kelnet::IntfId const port = portOf( link );
   // A LAG may just have lost the name for which its members are held.
   if ( detector_.mustBeShut( port ) || holdings_.contains( link.index ) ||
        holdings_.isOverridden( link.index ) || link.isLag )
      handleChange( port );
}

void
PortHolder::handleRenamed( std::uint32_t index, InterfaceName const& name ) {
   holdings_.eraseOverride( index );
   if ( holdings_.rename( index, name ) )
      handleChange( Kelnet::IntfId( name.view() ) );
}

void
PortHolder::retry() {
   for ( auto const& [ index, up ] : acts_.takeFailed() )
      if ( Link const* const link = links_.link( index ) )
         handleChange( portOf( *link ) );
   holdings_.retry();
}

bool
PortHolder::owns( Kelnet::IntfId port ) {
   collectLinks( port );
   return std::any_of( ofPort_.begin(), ofPort_.end(), [ this ]( Link const& link ) {
      return holdings_.contains( link.index ) || holdings_.isOverridden( link.index );
   } );
}

void
PortHolder::settle() {
   for ( auto const& change : detector_.decisions.takeChanges() )
      handleChange( change.port );
   if ( !changed_.empty() ) {
      holdings_.eraseOverridesIf( [ this ]( std::uint32_t index ) {
         Link const* const link = links_.link( index );
         return !link || !detector_.mustBeShut( portOf( *link ) );
      } );
      for ( Kelnet::IntfId const port : changed_ ) {
         collectLinks( port );
         for ( Link const& link : ofPort_ )
            if ( detector_.mustBeShut( port ) )
               acts_.askToShut( link, port, reason_ );
            else
               acts_.forgetReopenings( link.index );
      }
      for ( auto const& [ index, holding ] : holdings_ ) {
         Link const* const link = links_.link( index );
         Kelnet::IntfId const port = link ? portOf( *link ) : Kelnet::IntfId( holding.name.view() );
         if ( !detector_.mustBeShut( port ) )
            acts_.askToOpen( holding, port );
      }
      changed_.clear();
      isChanged_.clear();
      acts_.act();
   }
   // Also where links have gone, or where it failed before.
   holdings_.remember();
}

bool
PortHolder::release() {
   holdings_.eraseOverridesIf( []( std::uint32_t ) { return true; } );
   bool const isDone = acts_.release();
   holdings_.remember();
   return isDone;
}

} // namespace Ufdd
