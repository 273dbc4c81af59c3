#include "agent/ports/Holdings.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace Ufdd {

namespace {

std::string
text( InterfaceName const& name ) {
   return std::string( name.view() );
}

} // namespace

Holding const*
Holdings::find( std::uint32_t index ) const {
   auto const at = holdings_.find( index );
   return at == holdings_.end() ? nullptr : &at->second;
}

bool
Holdings::rename( std::uint32_t index, InterfaceName const& name ) {
   auto const at = holdings_.find( index );
   if ( at == holdings_.end() )
      return false;
   at->second.name = name;
   isChanged_ = true;
   return true;
}

void
Holdings::addressIs( std::uint32_t index, std::uint64_t address ) {
   for ( auto* const holdings : { &holdings_, &overrides_ } )
      if ( auto const at = holdings->find( index ); at != holdings->end() )
         isChanged_ |= std::exchange( at->second.address, address ) != address;
}

void
Holdings::insert( Holding const& holding ) {
   holdings_.insert_or_assign( holding.index, holding );
   isChanged_ = true;
}

void
Holdings::erase( std::uint32_t index ) {
   isChanged_ |= holdings_.erase( index ) > 0;
}

void
Holdings::insertOverride( Holding holding ) {
   holding.isOverridden = true;
   overrides_.insert_or_assign( holding.index, holding );
   isChanged_ = true;
}

void
Holdings::beginAdoption() {
   for ( Holding const& holding : ownership_.recall() )
      recalled_.emplace( holding.index, holding );
}

void
Holdings::adopt( Link const& link, unsigned int reason ) {
   Holding const byMark{ link.index, link.name, link.address, LinkRequest::Means::protoDown,
                         reason };
   while ( auto const node = recalled_.extract( link.index ) ) {
      Holding const& holding = node.mapped();
      if ( holding.isOverridden )
         takeOverride( link, holding );
      // Where the two differ, what is remembered is older: it could not be written any more.
      else if ( !byMark.isOn( link ) || holding.means != LinkRequest::Means::adminDown )
         take( link, holding );
   }
   if ( !contains( link.index ) && byMark.isOn( link ) ) {
      log_.line( "port " + text( link.name ) + " has ufdd's protodown reason: held by ufdd" );
      insert( byMark );
   }
}

void
Holdings::take( Link const& link, Holding holding ) {
   std::string const what = "port " + text( holding.name ) + " was shut by ufdd before";
   bool const isRenamed = holding.name != link.name;
   bool const isSameHardware = holding.address != 0 && holding.address == link.address;
   if ( isRenamed && !isSameHardware )
      return log_.line( what + ", but is gone: " + text( link.name ) + " is another interface" );
   if ( !holding.isOn( link ) )
      return log_.line( what + " and opened by someone else since" );
   // Made anew meanwhile, and then shut by somebody else.
   if ( link.isOtherThan( holding.address ) )
      return log_.line( what +
                        ", but has another hardware address now: taken for another "
                        "interface; if it is not, open it with: ip link set dev " +
                        text( link.name ) + " up" );
   log_.line( what + ( isRenamed ? ", and renamed " + text( link.name ) + " since" : "" ) +
              ": still held" );
   holding.name = link.name;
   holding.address = link.address;
   insert( holding );
}

void
Holdings::takeOverride( Link const& link, Holding const& holding ) {
   if ( holding.name != link.name || link.isOtherThan( holding.address ) )
      return;
   log_.line( "port " + text( link.name ) + " is overridden: still left to who opened it" );
   insertOverride( holding );
}

void
Holdings::endAdoption() {
   for ( auto const& [ index, holding ] : recalled_ )
      if ( !holding.isOverridden )
         log_.line( "port " + text( holding.name ) +
                    " was shut by ufdd before, but there is no such interface any more" );
   recalled_.clear();
   remember();
}

void
Holdings::rememberBefore( std::span< Holding const > aboutToBeShut ) {
   if ( aboutToBeShut.empty() )
      return;
   ownership_.add( aboutToBeShut );
   isChanged_ = true;
}

void
Holdings::remember() {
   if ( !std::exchange( isChanged_, false ) )
      return;
   std::vector< Holding > all;
   auto const add = [ &all ]( auto const& holdings ) {
      for ( auto const& [ index, holding ] : holdings )
         all.push_back( holding );
   };
   add( overrides_ );
   add( holdings_ );
   add( recalled_ );
   int const error = ownership_.remember( all );
   if ( error && error != error_ )
      log_.event( { .id = LogEvent::trouble },
                  "what ufdd holds can't be remembered in " + ownership_.place() + ": " +
                      std::strerror( error ) + "; " +
                      ( error == ENOSPC ? "make room there" : "see that ufdd may write there" ) +
                      ", it tries again every second; ports are shut all the same, but if ufdd "
                      "were killed they would stay shut" );
   else if ( !error && error_ )
      log_.line( "what ufdd holds is remembered in " + ownership_.place() + " again" );
   error_ = error;
}

} // namespace Ufdd
