#include "tests/sim/Machine.h"

#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>

namespace Simulation {

namespace {

// Uplinks; ports, the last one a LAG; and links that can be its members.
constexpr char const* names[] = {
   "u0", "u1", "u2", "x3", "d0", "d1", "d2", "d3", "m0", "m1", "m2"
};
constexpr std::uint32_t othersReason = 1 << 7;
constexpr unsigned int patience = 256;
constexpr int refusals[] = { EPERM, EBUSY, ENODEV, ENOBUFS, ETIMEDOUT, 0 };

} // namespace

Machine::Machine() {
   kernel.lossInterval = 1;
   kernel.room = 20;
   kernel.handleAdmin = [ this ]( auto const& link ) { routes.handleAdmin( link ); };
   for ( char const* const name : names )
      create( name, 0b1100 );
   kernel.add( "m9" );
   kernel.meanwhile = store.meanwhile = orders.meanwhile = [ this ] { race(); };
}

bool
Machine::isOwed( std::uint32_t link, StaticRoutes::Kept const& kept ) const {
   auto const isOurs = [ & ]( Ufdd::OwnedLink const& owned ) {
      return owned.index == link && owned.means == Ufdd::LinkRequest::Means::adminDown;
   };
   return std::ranges::any_of( settings.all, [ & ]( Ufdd::PortSettings const& port ) {
      return port.index == link &&
             std::ranges::count( port.settings, kept.payload, &Ufdd::LinkSetting::payload ) > 0 &&
             ( port.isOwed || std::ranges::any_of( store.links, isOurs ) );
   } );
}

bool
Machine::losesAnswers( Ufdd::SimulatedLink const& link ) {
   return link.refusal == ENOBUFS || link.refusal == ETIMEDOUT;
}

void
Machine::boot( unsigned int carriers ) {
   store.links.clear();
   store.overrides.clear();
   store.wasRemoved = store.hasFailed = false;
   bootStore.record.reset();
   failed.clear();
   orders.book = {};
   orders.isGone = false;
   cleared.clear();
   fallen.clear();
   proven.clear();
   for ( auto& [ name, link ] : kernel.links() ) {
      link.adminUp = true;
      link.protoDown = link.ours = link.oursByPd = link.isUnclear = false;
      link.protoDownReasons = 0;
      link.openings.clear();
      link.cable = carriers % 2;
      carriers /= 2;
      link.carrier = false;
      if ( routes.links.contains( link.index ) )
         routes.add( link.index, true );
   }
   settings.all.clear();
   kernel.existed.clear();
   kernel.wereUp.clear();
   for ( auto const& [ name, link ] : kernel.links() )
      kernel.update( name );
}

Ufdd::SimulatedLink const*
Machine::find( std::string const& name ) const {
   for ( auto const& [ own, link ] : kernel.links() )
      if ( own == name || std::count( link.altNames.begin(), link.altNames.end(), name ) )
         return &link;
   return nullptr;
}

std::set< std::string >
Machine::shutLinks() const {
   std::set< std::string > shut;
   for ( auto const& [ name, link ] : kernel.links() )
      if ( link.ours || link.hasProtoDownReason( Ufdd::Link::usualReason ) )
         shut.insert( name );
   return shut;
}

std::set< std::string >
Machine::upLinks() const {
   std::set< std::string > up;
   for ( auto const& [ name, link ] : kernel.links() )
      if ( link.adminUp && link.carrier && !link.isDormant ) {
         up.insert( name );
         up.insert( link.altNames.begin(), link.altNames.end() );
      }
   for ( std::string const& name : failed )
      up.erase( name );
   return up;
}

void
Machine::look() {
   std::set< std::string > const up = upLinks();
   upOnce.insert( up.begin(), up.end() );
   for ( auto const& [ name, link ] : kernel.links() )
      if ( link.isUnclear && routes.links.contains( link.index ) )
         routes.links.at( link.index ).fate = StaticRoutes::Fate::unclear;
   std::erase_if( upAlways, [ & ]( std::string const& name ) { return !up.contains( name ); } );
}

std::set< std::string >
Machine::recordedFailed() const {
   std::set< std::string > uplinks;
   if ( bootStore.record )
      for ( auto const& [ check, isUp ] : bootStore.record->checks )
         if ( !isUp )
            uplinks.insert( 'u' + check.substr( 1 ) );
   return uplinks;
}

Ufdd::OwnedLink const*
Machine::recorded( Ufdd::Link const& link ) const {
   for ( Ufdd::OwnedLink const& owned : store.links )
      if ( owned.index == link.index && owned.address == link.address )
         return &owned;
   return nullptr;
}

void
Machine::race() {
   if ( races_.empty() )
      return;
   // The event lets some occasions pass.
   Event& next = races_.front();
   if ( next.b >= patience ) {
      next.b -= patience;
      return;
   }
   Event event = next;
   races_.pop_front();
   if ( event.verb == "kill" )
      throw Killed();
   // The kernel does not give an index to another link within microseconds.
   if ( event.verb == "create" )
      event.b &= ~2u;
   ++raceCount_;
   look();
   apply( event );
   look();
   // If the answer to an act is lost, nobody can tell whether the link was down before the act.
   std::string const name = names[ event.a % std::size( names ) ];
   if ( kernel.contains( name ) ) {
      Ufdd::SimulatedLink& link = kernel.link( name );
      link.isUnclear |= !link.adminUp && !link.ours && losesAnswers( link );
      link.oursByPd |= link.protoDown && losesAnswers( link );
   }
}

void
Machine::apply( Event const& event ) {
   std::string_view const verb = event.verb;
   std::string const name = names[ event.a % std::size( names ) ];
   bool const on = event.b % 2;
   if ( verb == "overrun" )
      return kernel.overrun( on );
   if ( verb == "fullDisk" )
      store.isFull = bootStore.isFull = orders.isFull = on;
   if ( verb == "loseRecord" ) {
      store.remove();
      settings.lose();
      orders.remove();
      recordCheckAt = Zet::now() + 2;
   }
   if ( verb == "deaf" )
      kernel.isDeaf = on;
   if ( verb == "create" )
      create( name, event.b );
   if ( !kernel.contains( name ) )
      return;
   Ufdd::SimulatedLink& link = kernel.link( name );
   std::string const otherName = name.substr( 0, 1 ) + std::to_string( event.b % 6 );
   if ( verb == "cable" ) {
      kernel.carrier( name, on );
   } else if ( verb == "dormant" ) {
      link.isDormant = on;
      link.toldAt = std::min( link.toldAt, Zet::now() );
   } else if ( verb == "admin" ) {
      admin( name, on );
      // Others may bring the route back with the link.
      if ( on && event.b % 4 == 3 && routes.links.contains( link.index ) )
         routes.add( link.index, false );
   } else if ( verb == "protoDown" && link.hasProtoDown ) {
      protoDown( name, event.b );
   } else if ( verb == "slip" ) {
      link.slips = on;
      link.slipsOnce = event.b % 4 == 3;
      kernel.update( name );
   } else if ( verb == "remove" ) {
      if ( route == link.index )
         routeIs( 0 );
      routes.handleGone( link.index );
      kernel.remove( name );
   } else if ( verb == "route" ) {
      routeIs( on ? link.index : 0 );
   } else if ( verb == "rename" && !kernel.contains( otherName ) && name != "x3" &&
               otherName != "u3" ) {
      kernel.rename( name, otherName );
   } else if ( verb == "join" && name[ 0 ] == 'm' ) {
      kernel.join( name, on ? lag() : "" );
   } else if ( verb == "protect" ) {
      nameSafe( name, on );
   } else if ( verb == "refuse" ) {
      link.refusal = refusals[ event.b % std::size( refusals ) ];
   }
}

void
Machine::routeIs( std::uint32_t link ) {
   route = link;
   routes.defaultIs( link );
}

// Gives the alternative name "safe" to that link, or to none.
void
Machine::nameSafe( std::string const& name, bool on ) {
   for ( auto& [ other, link ] : kernel.links() )
      if ( std::erase( link.altNames, "safe" ) > 0 )
         kernel.update( other );
   if ( on ) {
      kernel.link( name ).altNames.emplace_back( "safe" );
      kernel.update( name );
   }
}

// Returns the present name of the LAG.
std::string
Machine::lag() {
   for ( auto const& [ name, link ] : kernel.links() )
      if ( link.isLag )
         return name;
   return "";
}

void
Machine::create( std::string const& name, unsigned int how ) {
   if ( kernel.contains( name ) )
      return;
   // The link may get its own former index, or the former index of another link.
   std::uint32_t index =
       how % 2 ? indexes_[ name ] : indexes_[ names[ how / 16 % std::size( names ) ] ];
   for ( auto const& [ other, link ] : kernel.links() )
      if ( link.index == index )
         index = 0;
   std::uint32_t const next = kernel.nextIndex;
   if ( how & 2 && index )
      kernel.nextIndex = index;
   kernel.add( name, how & 4 );
   kernel.nextIndex = std::max( next, kernel.nextIndex );
   Ufdd::SimulatedLink& link = kernel.link( name );
   indexes_[ name ] = link.index;
   link.hidesCarrier = name == "u2";
   link.hasProtoDown = name == "d1" || name == "d2" || name == "m1";
   link.slips = name == "d2";
   link.isLag = name == "d3";
   if ( name[ 0 ] == 'd' && link.adminUp )
      routes.add( link.index, true );
   if ( name == "x3" )
      link.altNames = { "u3" };
   if ( ( name == "m0" || name == "m1" ) && how & 8 )
      kernel.join( name, lag() );
   kernel.update( name );
}

void
Machine::admin( std::string const& name, bool up ) {
   Ufdd::SimulatedLink& link = kernel.link( name );
   bool const shuts = link.adminUp && !up;
   kernel.set( name, up );
   bool const isSeen = !losesAnswers( link ) && !lacksRecord() && !recorded( link );
   link.isUnclear |= shuts && !isSeen;
}

void
Machine::protoDown( std::string const& name, unsigned int how ) {
   Ufdd::SimulatedLink& link = kernel.link( name );
   std::uint32_t const others = link.protoDownReasons & ~othersReason;
   switch ( how % 4 ) {
   case 0:
      return kernel.protoDown( name, false, 0 );
   case 1:
      return kernel.protoDown( name, true, others | othersReason );
   case 2:
      // Others leave protodown on because of the remaining reasons, which are ours.
      link.oursByPd = true;
      return kernel.protoDown( name, others != 0, others );
   default:
      kernel.protoDown( name, true, link.protoDownReasons );
      link.oursByPd |= recorded( link ) || losesAnswers( link );
   }
}

void
Machine::endFaults() {
   while ( !races_.empty() ) {
      Event const event = races_.front();
      races_.pop_front();
      apply( event );
   }
   for ( auto& [ name, link ] : kernel.links() )
      link.refusal = 0;
   store.isFull = bootStore.isFull = orders.isFull = kernel.isDeaf = false;
}

void
Machine::handleKilled() {
   for ( auto& [ name, link ] : kernel.links() ) {
      Ufdd::OwnedLink const* const owned = recorded( link );
      // The daemon may have been about to shut a link that others had shut just before.
      link.isUnclear |= !link.adminUp && !link.ours && owned && kernel.hasMessages();
      // A link that could not be recorded is lost to the next daemon. The daemon has logged that.
      link.ours &= !lacksRecord() || ( owned && owned->isApplied( link ) );
      link.oursByPd |= lacksRecord() || owned;
   }
   forgetUnrecordedRoutes();
}

void
Machine::forgetUnrecordedRoutes() {
   for ( auto& [ index, kept ] : routes.links ) {
      bool const mayReturn = isOwed( index, kept );
      kept.mayReturn |= mayReturn;
      if ( kept.fate == ( mayReturn ? StaticRoutes::Fate::others : StaticRoutes::Fate::ours ) )
         kept.fate = StaticRoutes::Fate::unclear;
   }
}

} // namespace Simulation
