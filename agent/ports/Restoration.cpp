#include "agent/ports/Restoration.h"

#include "agent/kernel/RouteMessage.h"
#include "platform/zet/Clock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <set>
#include <utility>

namespace Ufdd {

namespace {

// In seconds: for how long something is tried again. An address of IPv6 can be used as a source
// only when nobody else has answered for it.
constexpr double patience = 10;
constexpr double pause = 0.5;
// In seconds: how long to wait for the source of routes to tell of an act.
constexpr double sourcePatience = 2;
// In seconds: settings are recorded when they have not changed for that long.
constexpr double rest = 0.2;
// Number of settings that are put back in a turn: an act may be due in the next one.
constexpr std::size_t settingsPerTurn = 8;
// No link runs on more others than that.
constexpr int mostLevels = 16;

std::string
count( std::size_t number, std::string const& thing, std::string const& things ) {
   return std::to_string( number ) + ' ' + ( number == 1 ? thing : things );
}

// Adds those that are not there yet. Addresses come first, since routes may need them.
void
addMissing( std::vector< LinkSetting >& settings, std::vector< LinkSetting > const& more ) {
   settings.insert( settings.end(), more.begin(), more.end() );
   std::sort( settings.begin(), settings.end() );
   settings.erase( std::unique( settings.begin(), settings.end() ), settings.end() );
}

} // namespace

Restoration::Restoration( LinkDirectory const& links, PortControl const& ports, RouteSource& routes,
                          PortSettingsStore& store, Log& log )
    : links_( links ), ports_( ports ), routes_( routes ), store_( store ), log_( log ) {
   routes_.listenerIs( *this );
}

void
Restoration::portsAre( std::vector< Kelnet::IntfId > ports ) {
   configured_ = std::move( ports );
   isChanged_ = true;
}

template < class Visit >
bool
Restoration::anyBelow( std::uint32_t link, Visit visit ) const {
   for ( int level = 0; link != 0 && level < mostLevels; ++level ) {
      if ( visit( link ) )
         return true;
      Link const* const known = links_.link( link );
      link = known ? known->lower : 0;
   }
   return false;
}

bool
Restoration::wasSetDown( std::uint32_t link ) const {
   return anyBelow( link, [ this ]( std::uint32_t at ) { return ports_.wasSetDown( at ); } );
}

bool
Restoration::isTaken( std::uint32_t link ) const {
   return anyBelow( link, [ this ]( std::uint32_t at ) { return taken_.contains( at ); } );
}

// The kernel may have dropped its settings already.
bool
Restoration::isPending( std::uint32_t link ) const {
   return isTaken( link ) && !routes_.table().isDown( link );
}

std::unordered_set< std::uint32_t >
Restoration::present() const {
   std::unordered_set< std::uint32_t > ports;
   for ( Kelnet::IntfId const port : configured_ )
      if ( Link const* const link = links_.link( port ) )
         ports.insert( link->index );
   std::unordered_set< std::uint32_t > present;
   for ( std::uint32_t const index : routes_.table().linksWithSettings() ) {
      Link const* const link = links_.link( index );
      bool const isThere = link && !isTaken( index ) && !wasSetDown( index ) && link->adminUp;
      if ( link && ( isThere || isPending( index ) ) &&
           anyBelow( index, [ & ]( std::uint32_t at ) { return ports.contains( at ); } ) )
         present.insert( index );
   }
   return present;
}

void
Restoration::recall() {
   recorded_ = store_.recall();
   if ( std::string const trouble = store_.takeTrouble(); !trouble.empty() )
      log_.event( { .id = LogEvent::trouble }, trouble );
   for ( PortSettings const& port : recorded_ ) {
      Link const* const link = links_.link( port.index );
      bool const isSame = link && !link->isOtherThan( port.address ) &&
                          ( link->name == port.name || link->address == port.address );
      // The record may be older than the last act of the former process.
      bool const wasShut =
          wasSetDown( port.index ) || anyBelow( port.index, [ this ]( std::uint32_t at ) {
             return ports_.wasFoundOpen( at );
          } );
      if ( isSame && ( port.isOwed || wasShut ) )
         owe( port.index, port.settings );
   }
}

void
Restoration::handleResults( std::span< PortResult const > results ) {
   for ( auto const& [ kind, answer ] : results )
      if ( ( kind == PortResult::Kind::shut || kind == PortResult::Kind::shutAgain ) &&
           answer.means == LinkRequest::Means::adminDown ) {
         ++taken_[ answer.index ].acts;
         isChanged_ = true;
      } else if ( kind == PortResult::Kind::failed && !answer.up &&
                  ( answer.error == ENOBUFS || answer.error == ETIMEDOUT ) &&
                  answer.means == LinkRequest::Means::adminDown )
         unanswered_[ answer.index ] = Zet::now() + sourcePatience;
}

void
Restoration::handleLinkEvent( std::uint32_t link, LinkEvent event ) {
   bool isOurs = false;
   switch ( event ) {
   case LinkEvent::down:
      if ( auto const at = unanswered_.find( link ); at != unanswered_.end() ) {
         isOurs = Zet::now() <= at->second;
         unanswered_.erase( at );
      }
      if ( auto const at = taken_.find( link ); at != taken_.end() )
         at->second.downs = std::min( at->second.downs + 1, at->second.acts );
      if ( isOurs || isTaken( link ) || wasSetDown( link ) )
         owe( link, routes_.table().settingsThatGoWith( link ) );
      break;
   case LinkEvent::up:
      // Somebody may have set it up just before our act.
      if ( auto const at = taken_.find( link ); at != taken_.end() && at->second.downs > 0 ) {
         --at->second.downs;
         if ( --at->second.acts == 0 ) {
            taken_.erase( at );
            for ( auto& [ index, owed ] : owed_ )
               owed.tryAt = 0;
         }
      }
      break;
   case LinkEvent::gone:
      taken_.erase( link );
      unanswered_.erase( link );
      isChanged_ |= owed_.erase( link ) > 0;
      break;
   }
}

void
Restoration::handleRoutesLost() {
   std::unordered_set< std::uint32_t > taken;
   for ( std::uint32_t const link : routes_.table().linksWithSettings() )
      if ( isTaken( link ) )
         taken.insert( link );
   for ( auto const& [ link, settings ] : routes_.table().settingsOf( taken ) )
      owe( link, settings );
   taken_.clear();
}

void
Restoration::owe( std::uint32_t link, std::vector< LinkSetting > const& settings ) {
   Link const* const known = links_.link( link );
   if ( settings.empty() || !known )
      return;
   Owed& owed = owed_[ link ];
   owed.port.index = link;
   owed.port.name = known->name;
   owed.port.address = known->address;
   owed.port.isOwed = true;
   addMissing( owed.port.settings, settings );
   owed.errors.clear();
   isChanged_ = true;
}

void
Restoration::endTurn() {
   if ( !owed_.empty() )
      restore( settingsPerTurn, false );
   if ( isOutdated() && !recordAt_ )
      recordAt_ = Zet::now() + rest;
   if ( recordAt_ && Zet::now() >= *recordAt_ )
      record();
}

void
Restoration::checkRecord() {
   // A record that is too large stays that until something changes.
   isChanged_ |= recordError_ != 0 && recordError_ != EFBIG;
   if ( recordError_ != 0 || recorded_.empty() || !store_.isLost() )
      return;
   log_.event( { .id = LogEvent::trouble },
               "the record " + store_.place() + " was removed or replaced: it is written again" );
   recorded_.clear();
   isChanged_ = true;
}

std::optional< double >
Restoration::nextTime() const {
   std::optional< double > next = recordAt_;
   for ( auto const& [ index, owed ] : owed_ )
      if ( owed.openSince )
         next = std::min( next.value_or( owed.tryAt ), owed.tryAt );
   return next;
}

bool
Restoration::finish( bool isLast ) {
   routes_.deliver();
   if ( !owed_.empty() )
      restore( std::numeric_limits< std::size_t >::max(), isLast );
   if ( isChanged_ || recordAt_ )
      record();
   return std::none_of( owed_.begin(), owed_.end(),
                        []( auto const& owed ) { return owed.second.openSince.has_value(); } );
}

void
Restoration::restore( std::size_t budget, bool isLast ) {
   for ( auto at = owed_.begin(); at != owed_.end(); ) {
      bool const isNow = isDue( at->second, isLast ) && budget > 0;
      bool const isOver = isNow && restore( at->second, budget, isLast );
      isChanged_ |= isOver;
      at = isOver ? owed_.erase( at ) : std::next( at );
   }
}

bool
Restoration::isDue( Owed& owed, bool isLast ) const {
   double const now = Zet::now();
   Link const* const link = links_.link( owed.port.index );
   if ( !link || !link->adminUp || wasSetDown( link->index ) ) {
      owed.openSince.reset();
      return false;
   }
   if ( !owed.openSince ) {
      owed.openSince = owed.tryAt = now;
      owed.restored = 0;
   }
   // The kernel is still dropping them, as far as the source of routes knows.
   if ( isTaken( link->index ) && owed.restored == 0 )
      owed.tryAt = *owed.openSince + sourcePatience;
   return isLast || now >= owed.tryAt;
}

bool
Restoration::restore( Owed& owed, std::size_t& budget, bool isLast ) {
   std::vector< LinkSetting >& settings = owed.port.settings;
   std::size_t const size = std::min( settings.size(), budget );
   budget -= size;
   std::vector< LinkSettingRequest > requests;
   // Those that failed before come last.
   for ( std::size_t i = 0; i < size; ++i )
      requests.push_back( { .setting = settings[ i ] } );
   routes_.putBack( requests );
   settings.erase( settings.begin(), settings.begin() + static_cast< std::ptrdiff_t >( size ) );
   owed.errors.erase( owed.errors.begin(),
                      owed.errors.begin() +
                          static_cast< std::ptrdiff_t >( std::min( size, owed.errors.size() ) ) );
   std::size_t failures = 0;
   for ( LinkSettingRequest const& request : requests ) {
      owed.restored += request.error == 0;
      if ( request.error == 0 || request.error == EEXIST )
         continue;
      ++failures;
      settings.push_back( request.setting );
      owed.errors.resize( settings.size() - 1 );
      owed.errors.push_back( request.error );
   }
   double const now = Zet::now();
   // Those that were not tried yet have no error, and come first.
   bool const areTried = !owed.errors.empty() && owed.errors.front() != 0;
   bool const isOver =
       settings.empty() || isLast || ( areTried && now - *owed.openSince > patience );
   if ( isOver && owed.restored > 0 )
      log_.line( "port " + std::string( owed.port.name.view() ) + ": put back " +
                 count( owed.restored, "address or route", "addresses and routes" ) +
                 " that the kernel had dropped when the port was shut" );
   if ( isOver && !settings.empty() )
      tellFailures( owed );
   // What came back may be what the others need.
   owed.tryAt = failures < requests.size() || !areTried ? now : now + pause;
   isChanged_ = true;
   return isOver;
}

void
Restoration::tellFailures( Owed const& owed ) {
   auto const nameOf = [ this ]( std::uint32_t index ) {
      Link const* const link = links_.link( index );
      return link ? std::string( link->name.view() ) : "?";
   };
   for ( std::size_t i = 0; i < owed.port.settings.size(); ++i ) {
      int const error = i < owed.errors.size() ? owed.errors[ i ] : 0;
      log_.event( { .id = LogEvent::portFailure, .port = owed.port.name.view() },
                  "port " + std::string( owed.port.name.view() ) +
                      " has lost a setting while it was shut, which can't be put back: " +
                      std::strerror( error ) + "; put it back with: ip " +
                      commandText( owed.port.settings[ i ], nameOf ) );
   }
}

std::vector< PortSettings >
Restoration::all() const {
   std::map< std::uint32_t, PortSettings > all;
   for ( auto const& [ index, owed ] : owed_ )
      all[ index ] = owed.port;
   for ( auto const& [ index, settings ] : routes_.table().settingsOf( present() ) ) {
      Link const& link = *links_.link( index );
      PortSettings& port = all[ index ];
      port.index = index;
      port.name = link.name;
      port.address = link.address;
      port.isOwed |= isPending( index );
      addMissing( port.settings, settings );
   }
   std::vector< PortSettings > list;
   list.reserve( all.size() );
   for ( auto& [ index, port ] : all )
      list.push_back( std::move( port ) );
   return list;
}

bool
Restoration::isOutdated() const {
   RouteTable const& table = routes_.table();
   bool const isOld = isChanged_ || recordedVersion_ != table.version();
   return isOld && !( owed_.empty() && recorded_.empty() && table.addresses().empty() &&
                      table.routes().empty() );
}

void
Restoration::record() {
   recordAt_.reset();
   isChanged_ = false;
   recordedVersion_ = routes_.table().version();
   std::vector< PortSettings > now = all();
   if ( recordError_ == 0 && now == recorded_ )
      return;
   int const error = store_.remember( now );
   recorded_ = std::move( now );
   if ( error != std::exchange( recordError_, error ) && error )
      log_.event( { .id = LogEvent::trouble },
                  "the addresses and routes of ports can't all be recorded in " + store_.place() +
                      ": " + std::strerror( error ) +
                      "; if ufdd is killed, those of a shut port may be lost" );
}

} // namespace Ufdd
