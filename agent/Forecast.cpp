#include "agent/Forecast.h"

#include "agent/Agent.h"
#include "agent/detect/GroupTexts.h"
#include "model/GroupStatus.h"
#include "platform/zet/Clock.h"

#include <linux/if.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace Ufdd {

namespace {

using UplinkFailureDetection::GroupLinkStatus;
using Means = LinkRequest::Means;

// Answers each request as the kernel would if it carried it out, and keeps it. Every driver
// supports protodown here.
class ImaginedControl final : public LinkControl {
 public:
   // Call before the first request. Borrows: links.
   void linksAre( LinkDirectory const& links ) { links_ = &links; }
   std::vector< LinkRequest > const& requests() const { return requests_; }

   void apply( std::span< LinkRequest > requests ) override {
      for ( LinkRequest& request : requests ) {
         Link const* const link = links_->link( request.index );
         if ( !link ) {
            request.error = ENODEV;
            continue;
         }
         request.before = request.after = *link;
         if ( request.onlyQuery )
            continue;
         act( request, request.after );
         requests_.push_back( request );
      }
   }

 private:
   static void act( LinkRequest const& request, Link& link ) {
      if ( request.means == Means::adminDown ) {
         link.adminUp = request.up;
         return;
      }
      std::uint32_t const bit = 1u << request.reason;
      link.protoDownReasons =
          request.up ? link.protoDownReasons & ~bit : link.protoDownReasons | bit;
      link.protoDown = !request.up || request.means == Means::onlyReason;
      link.carrier &= request.up;
   }

   LinkDirectory const* links_ = nullptr;
   std::vector< LinkRequest > requests_;
};

// Recalls what another store does, and remembers nothing.
class Recollection final : public OwnedLinkStore {
 public:
   // Borrows: record, which may be null.
   explicit Recollection( OwnedLinkStore* record ) : record_( record ) {}

   std::vector< OwnedLink > recall() override {
      if ( record_ )
         links_ = record_->recall();
      return links_;
   }
   std::vector< UnreadRecord > takeUnread() override {
      return record_ ? record_->takeUnread() : std::vector< UnreadRecord >();
   }
   void add( std::span< OwnedLink const > ) override {}
   int remember( std::span< OwnedLink const > ) override { return 0; }
   bool isLost() override { return false; }
   std::string place() const override { return record_ ? record_->place() : ""; }
   std::string explain( int ) const override { return ""; }

   // Returns true if the link was ours when it was recalled.
   bool contains( std::uint32_t index ) const {
      return std::ranges::any_of( links_, [ & ]( OwnedLink const& owned ) {
         return owned.index == index && !owned.isOverridden;
      } );
   }

 private:
   OwnedLinkStore* const record_;
   std::vector< OwnedLink > links_;
};

// Remembers nothing.
struct NoSettings final : PortSettingsStore {
   std::vector< PortSettings > recall() override { return {}; }
   int remember( std::span< PortSettings const > ) override { return 0; }
   std::string place() const override { return ""; }
};

// Recalls what another store does, and remembers nothing.
class BootRecollection final : public BootStore {
 public:
   // Borrows: record, which may be null.
   explicit BootRecollection( BootStore* record ) : record_( record ) {}

   std::optional< BootRecord > recall() override {
      return record_ ? record_->recall() : std::nullopt;
   }
   int remember( BootRecord const& ) override { return 0; }
   bool isLost() const override { return false; }
   std::string place() const override { return ""; }

 private:
   BootStore* const record_;
};

// Recalls what another store does, and remembers nothing.
class OrderRecollection final : public OrderStore {
 public:
   // Borrows: record, which may be null.
   explicit OrderRecollection( OrderStore* record ) : record_( record ) {}

   Recollection recall() override { return record_ ? record_->recall() : Recollection(); }
   int remember( OrderBook const& ) override { return 0; }
   bool isLost() const override { return false; }
   std::string place() const override { return ""; }

 private:
   OrderStore* const record_;
};

// Keeps the lines about what is wrong.
class AlarmLog final : public Log {
 public:
   void line( std::string_view ) override {}
   void event( LogEvent const& event, std::string_view text ) override {
      if ( event.id == LogEvent::portFailure || event.id == LogEvent::trouble ||
           event.id == LogEvent::groupAlarm )
         alarms.emplace_back( text );
   }

   std::vector< std::string > alarms;
};

template < class Iterator >
std::set< Kelnet::IntfId >
keysOf( Iterator key ) {
   std::set< Kelnet::IntfId > keys;
   for ( ; key; ++key )
      keys.insert( key.key() );
   return keys;
}

std::string
stateText( Link const* link ) {
   return !link                                ? "absent"
          : !link->adminUp                     ? "administratively down"
          : !link->carrier                     ? "no carrier"
          : link->operState == IF_OPER_DORMANT ? "dormant"
                                               : "up";
}

class Forecaster {
 public:
   Forecaster( std::vector< GroupSettings > const& groups, LinkSource& source, RouteSource& routes,
               OwnedLinkStore* record, BootStore* bootRecord, OrderStore* orders )
       : groups_( groups ), routes_( routes ), record_( record ), bootRecord_( bootRecord ),
         orders_( orders ),
         agent_( source, routes, control_, record_, settings_, bootRecord_, orders_, log_ ) {
      control_.linksAre( agent_.links() );
   }

   Forecast run( ConfigFile const& config ) {
      agent_.start( config );
      if ( routes_.isReading() ) {
         for ( double const end = Zet::now() + patience; routes_.isReading() && Zet::now() < end; )
            routes_.deliver();
         agent_.endTurn();
      }
      for ( LinkRequest const& request : control_.requests() )
         isUpRequested_.try_emplace( request.index, request.up );
      std::vector< Kelnet::IntfId > ports; // In the order of the file.
      for ( GroupSettings const& group : groups_ )
         for ( Kelnet::IntfId const port : keysOf( group.config->intfsToDisableIteratorConst() ) ) {
            ports.push_back( port );
            listing_[ port ].push_back( &group );
         }
      for ( Kelnet::IntfId const port : ports )
         addPort( port, linksOf( port ) );
      // Ports that only the record knows.
      for ( LinkRequest const& request : control_.requests() )
         addPort( request.port, { request.before } );
      forecast_.alarms = std::move( log_.alarms );
      return std::move( forecast_ );
   }

 private:
   void addPort( Kelnet::IntfId port, std::vector< Link > const& links ) {
      if ( !told_.insert( port ).second )
         return;
      for ( Link const& link : links )
         forecast_.links.push_back( link.name );
      std::string text;
      std::string const fate = links.empty() ? "is absent" : fateOf( links[ 0 ] );
      bool const isAlike = std::ranges::all_of(
          links, [ & ]( Link const& link ) { return fateOf( link ) == fate; } );
      for ( Link const& link : links )
         text +=
             ( text.empty() ? "" : ", " ) + std::string( link.name.view() ) + ' ' + fateOf( link );
      forecast_.ports.push_back( "port " + std::string( port.name().view() ) +
                                 ( isAlike ? ' ' + fate : ", by its members: " + text ) + ": " +
                                 reasonFor( port ) );
   }

   // Returns the links that are shut when the port is.
   std::vector< Link > linksOf( Kelnet::IntfId port ) const {
      std::vector< Link > links;
      Link const* const link = agent_.links().link( port );
      if ( link && link->isLag )
         agent_.links().collectMembers( link->index, links );
      else if ( link )
         links.push_back( *link );
      std::ranges::sort( links, {}, []( Link const& each ) { return each.name.view(); } );
      return links;
   }

   std::string fateOf( Link const& link ) const {
      if ( auto const at = isUpRequested_.find( link.index ); at != isUpRequested_.end() )
         return at->second ? "would be opened" : "would be shut";
      return record_.contains( link.index ) ? "stays shut"
             : link.adminUp                 ? "stays open"
                                            : "stays administratively down";
   }

   // Returns the groups that shut the port, or else all that list it, with what delays them.
   std::string reasonFor( Kelnet::IntfId port ) const {
      auto const listing = listing_.find( port );
      if ( listing == listing_.end() )
         return "no group disables it";
      std::vector< GroupSettings const* > down;
      std::ranges::copy_if(
          listing->second, std::back_inserter( down ),
          [ this ]( auto const* group ) { return statusOf( *group ) == GroupLinkStatus::down; } );
      bool const isDown = !down.empty();
      std::string text;
      if ( agent_.detector().reasons().isOrderedDown( port ) )
         text = "it is ordered down";
      else if ( agent_.detector().reasons().isLatched( port ) )
         return "it is latched (auto_recover), until it is cleared";
      for ( std::size_t shown = 0;
            GroupSettings const* const group : isDown ? down : listing->second ) {
         if ( ++shown > maxShown )
            return text + "; ...";
         WaitReason const wait =
             agent_.detector().decisions().of( group->config->name() ).wait().reason;
         double const delay = isDown ? group->policy.downDelay : group->policy.recoveryDelay;
         text += ( text.empty() ? "" : "; " ) +
                 groupText( agent_.detector(), *group->config, statusOf( *group ) ) +
                 ( isDown ? failuresOf( *group ) : "" ) +
                 ( wait == WaitReason::unproven ? ", left alone"
                   : delay <= 0                 ? ""
                   : isDown                     ? "; after its down_delay"
                                                : "; after its recovery_delay" ) +
                 ( wait == WaitReason::releaseWhen
                       ? "; opened once all of these routes exist, or after its release_timeout: " +
                             routesText( group->policy.releaseWhen )
                       : "" );
      }
      return text;
   }

   GroupLinkStatus statusOf( GroupSettings const& group ) const {
      auto const status = agent_.detector().status->group( group.config->name() );
      return status ? status->groupLinkStatus() : GroupLinkStatus::unknown;
   }

   // Returns the uplinks that are not up: ": u1 no carrier, u2 absent"
   std::string failuresOf( GroupSettings const& group ) const {
      std::string text;
      std::size_t shown = 0;
      for ( Kelnet::IntfId const uplink : keysOf( group.config->intfsToMonitorIteratorConst() ) ) {
         if ( agent_.detector().isUp( uplink ) )
            continue;
         if ( ++shown > maxShown )
            return text + ", ...";
         text += ( text.empty() ? ": " : ", " ) + std::string( uplink.name().view() ) + ' ' +
                 stateOf( uplink );
      }
      return text;
   }

   static constexpr double patience = 2.1;    // In seconds: the agent's own is over then.
   static constexpr std::size_t maxShown = 8; // Of a list within a line.

   std::string stateOf( Kelnet::IntfId uplink ) const {
      return agent_.detector().isUnproven( uplink ) ? "unproven"
                                                    : stateText( agent_.links().link( uplink ) );
   }

   std::vector< GroupSettings > const& groups_; // As configured.
   RouteSource& routes_;
   ImaginedControl control_;
   Recollection record_;
   BootRecollection bootRecord_;
   OrderRecollection orders_;
   AlarmLog log_;
   NoSettings settings_;
   Agent agent_;
   std::map< Kelnet::IntfId, std::vector< GroupSettings const* > > listing_; // By port.
   std::map< std::uint32_t, bool > isUpRequested_; // By index of the link.
   std::set< Kelnet::IntfId > told_;
   Forecast forecast_;
};

} // namespace

Forecast
forecast( ConfigFile const& config, LinkSource& source, RouteSource& routes, OwnedLinkStore* record,
          BootStore* bootRecord, OrderStore* orders ) {
   ConfigFile now = config;
   now.warnings.clear();
   now.startupHold = 0;
   for ( GroupSettings& group : now.groups )
      group.policy.downDelay = group.policy.recoveryDelay = 0;
   return Forecaster( config.groups, source, routes, record, bootRecord, orders ).run( now );
}

} // namespace Ufdd
