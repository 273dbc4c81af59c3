#include "agent/ports/OwnedLinks.h"

#include "agent/ports/OpeningCommand.h"

#include <string>
#include <utility>

namespace Ufdd {

namespace {

std::string
text( InterfaceName const& name ) {
   return std::string( name.view() );
}

std::string
openingCommand( OwnedLink const& owned ) {
   return openingCommand( owned.name.view(), owned.means, owned.reason );
}

} // namespace

OwnedLink const*
OwnedLinks::find( std::uint32_t index ) const {
   auto const at = owned_.find( index );
   return at == owned_.end() ? nullptr : &at->second;
}

bool
OwnedLinks::rename( std::uint32_t index, InterfaceName const& name ) {
   auto const at = owned_.find( index );
   if ( at == owned_.end() )
      return false;
   at->second.name = name;
   isChanged_ = true;
   return true;
}

void
OwnedLinks::addressIs( std::uint32_t index, std::uint64_t address ) {
   for ( auto* const owned : { &owned_, &overrides_ } )
      if ( auto const at = owned->find( index ); at != owned->end() )
         isChanged_ |= std::exchange( at->second.address, address ) != address;
}

void
OwnedLinks::insert( OwnedLink const& owned ) {
   owned_.insert_or_assign( owned.index, owned );
   isChanged_ = true;
}

void
OwnedLinks::erase( std::uint32_t index ) {
   isChanged_ |= owned_.erase( index ) > 0;
}

void
OwnedLinks::handleMoved( std::uint32_t index ) const {
   if ( OwnedLink const* const owned = find( index ) )
      log_.event( { .id = LogEvent::portFailure, .port = owned->name.view() },
                  "port " + text( owned->name ) +
                      " was moved to another network namespace while ufdd had it shut: open it "
                      "there with: " +
                      openingCommand( *owned ) );
}

void
OwnedLinks::insertOverride( OwnedLink owned ) {
   owned.isOverridden = true;
   overrides_.insert_or_assign( owned.index, owned );
   isChanged_ = true;
}

void
OwnedLinks::beginAdoption() {
   for ( OwnedLink const& owned : store_.recall() )
      recalled_.emplace( owned.index, owned );
   unread_.add( store_.takeUnread() );
}

void
OwnedLinks::adopt( Link const& link, unsigned int reason ) {
   OwnedLink const byMark{ link.index, link.name, link.address, LinkRequest::Means::protoDown,
                           reason };
   while ( auto const node = recalled_.extract( link.index ) ) {
      OwnedLink const& owned = node.mapped();
      if ( owned.isOverridden )
         takeOverride( link, owned );
      // If the mark contradicts the record, the record is out of date: its last write failed.
      else if ( !byMark.isApplied( link ) || owned.means != LinkRequest::Means::adminDown )
         take( link, owned );
   }
   if ( !contains( link.index ) && byMark.isApplied( link ) ) {
      log_.line( "port " + text( link.name ) + " has ufdd's protodown reason: shut by ufdd" );
      insert( byMark );
   }
   if ( !contains( link.index ) )
      unread_.examine( link );
}

void
OwnedLinks::take( Link const& link, OwnedLink owned ) {
   std::string const what = "port " + text( owned.name ) + " was shut by ufdd before";
   bool const isRenamed = owned.name != link.name;
   bool const isSameHardware = owned.address != 0 && owned.address == link.address;
   if ( isRenamed && !isSameHardware )
      return log_.line( what + ", but is gone: " + text( link.name ) + " is another interface" );
   if ( !owned.isApplied( link ) && owned.means == LinkRequest::Means::adminDown )
      foundOpen_.insert( link.index );
   if ( !owned.isApplied( link ) )
      return log_.line( what + " and opened by someone else since" );
   // Another link may have this index and name now, and somebody else has shut it.
   if ( owned.address != link.address )
      return log_.line( what +
                        ", but has another hardware address now: not opened, it is probably "
                        "another interface; if it is the same, open it with: " +
                        openingCommand( link.name.view(), owned.means, owned.reason ) );
   log_.line( what + ( isRenamed ? ", and renamed " + text( link.name ) + " since" : "" ) +
              ": still shut" );
   owned.name = link.name;
   owned.address = link.address;
   insert( owned );
}

void
OwnedLinks::takeOverride( Link const& link, OwnedLink const& owned ) {
   if ( owned.name != link.name || link.address != owned.address )
      return;
   log_.line( "port " + text( link.name ) +
              " is still overridden: it is left open until its groups are up" );
   insertOverride( owned );
}

void
OwnedLinks::endAdoption() {
   for ( auto const& [ index, owned ] : recalled_ )
      if ( !owned.isOverridden )
         log_.line( "port " + text( owned.name ) +
                    " was shut by ufdd before, but there is no such interface any more; if it was "
                    "moved to another network namespace, open it there with: " +
                    openingCommand( owned ) );
   recalled_.clear();
   unread_.end();
   remember();
}

void
OwnedLinks::rememberBefore( std::span< OwnedLink const > aboutToBeShut ) {
   if ( aboutToBeShut.empty() )
      return;
   store_.add( aboutToBeShut );
   isChanged_ = true;
}

void
OwnedLinks::remember() {
   if ( !std::exchange( isChanged_, false ) )
      return;
   std::vector< OwnedLink > all;
   auto const add = [ &all ]( auto const& links ) {
      for ( auto const& [ index, link ] : links )
         all.push_back( link );
   };
   add( overrides_ );
   add( owned_ );
   add( recalled_ );
   int const error = store_.remember( all );
   unread_.add( store_.takeUnread() );
   if ( error && error != error_ )
      log_.event( { .id = LogEvent::trouble },
                  "the ports that ufdd has shut can't be recorded in " + store_.place() + ": " +
                      store_.explain( error ) +
                      "; trying again every second. Ports are shut all the same, but they stay "
                      "shut if ufdd is killed" );
   else if ( !error && error_ )
      log_.line( "the ports that ufdd has shut are recorded in " + store_.place() + " again" );
   error_ = error;
}

void
OwnedLinks::checkRecord() {
   if ( hasFailed() || !store_.isLost() )
      return;
   log_.event( { .id = LogEvent::trouble },
               "the record " + store_.place() + " was removed or replaced: it is written again" );
   isChanged_ = true;
   remember();
}

} // namespace Ufdd
