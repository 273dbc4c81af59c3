// A host of uplink failure detection, complete but for its interfaces, which are simulated. Two
// racks have an uplink each and a port each, and share one port.
#include "PortTable.h"

#include <iostream>
#include <ufd/host/PortDecisions.h>
#include <ufd/model/GroupConfig.h>
#include <ufd/platform/zet/NotificationFailure.h>
#include <ufd/platform/zet/attrlog/Demuxer.h>
#include <ufd/sm/Root.h>

namespace Ufd = UplinkFailureDetection;

namespace {

// The library with what it works on. Everything runs on the thread of the host's event loop.
class Host {
 public:
   Host() {
      // Nothing that a handler throws ends the loop; it must not get lost either.
      Zet::notificationFailureSinkIs( []( Zet::NotificationFailure const& failure ) {
         std::cerr << "fault: " << failure.entity << ' ' << failure.attribute << ": "
                   << failure.text << '\n';
      } );
   }
   ~Host() { Zet::notificationFailureSinkIs( {} ); }

   void configure( char const* group, char const* uplink,
                   std::initializer_list< char const* > ports ) {
      auto const config = config_->groupIs( group );
      config->intfsToMonitorIs( Kelnet::IntfId( uplink ), true );
      for ( char const* const port : ports )
         config->intfsToDisableIs( Kelnet::IntfId( port ), true );
   }
   // Called when the directory shows all interfaces that exist: the groups are judged by them.
   void start() { root_->uplinkFailureDetectionSmIs( config_, status_, cause_, directory_ ); }
   // Opens every port: without groups nothing must be shut. Without this call, the ports would stay
   // as they are for the host's next start.
   void stop() {
      config_->groupDelAll();
      endTurn();
      root_->uplinkFailureDetectionSmDel();
   }

   // Called for the events of the platform. The library reacts before these return.
   void handleNewInterface( char const* name ) {
      directory_->intfStatusIs( Kelnet::IntfId( name ) );
   }
   void handleInterfaceGone( char const* name ) {
      directory_->intfStatusDel( Kelnet::IntfId( name ) );
   }
   void handleLink( char const* name, bool isUp ) {
      directory_->intfStatusIs( Kelnet::IntfId( name ) )
          ->operStatusIs( isUp ? Interface::OperStatus::up : Interface::OperStatus::down );
   }
   // Acts on what the whole turn has come to.
   void endTurn() {
      for ( auto const& [ port, mustBeShut ] : decisions_.takeChanges() ) {
         std::cout << "   " << port.name() << ( mustBeShut ? " is shut\n" : " is opened\n" );
         table->shutIs( port, mustBeShut );
      }
   }

   Zet::Ptr< PortTable > const table = Zet::make< PortTable >( "ports" );

 private:
   // All of these are counted: the machine and the decisions hold what they watch.
   Zet::Ptr< Ufd::Config > const config_ = Ufd::configFactory( "config" );
   Zet::Ptr< Ufd::Status > const status_ = Ufd::statusFactory( "status" );
   Zet::Ptr< Errdisable::CauseStatus > const cause_ =
       Errdisable::CauseStatus::CauseStatusIs( "uplinkFailureDetection" );
   Zet::Ptr< Interface::EthIntfStatusDir > const directory_ =
       Interface::EthIntfStatusDir::EthIntfStatusDirIs( "interfaces" );
   Zet::Ptr< Ufd::Root > const root_ = Ufd::rootFactory( "root" );
   Ufd::PortDecisions decisions_{ config_, status_, directory_ };
};

// What another process would do to have a copy of the table; a socket would carry the bytes.
class Copy final : private Zet::NboAttrLog::Demuxer::Roots {
 public:
   explicit Copy( PortTable& source ) {
      reader_->rootsIs( this );
      reader_->out()->helloIs( Zet::TypeId( "" ) );
      writer_->out()->helloIs( Zet::TypeId( PortTable::_fwkType()->fullName().view() ) );
      source.zetNboAttrLogSaIs( {}, 0, writer_->out(), nullptr )->doSerializeOrphan();
   }
   ~Copy() { reader_->rootsIs( nullptr ); }

   void move() {
      move( *reader_, *writer_ );
      move( *writer_, *reader_ );
   }
   void print() const {
      copy_->shutMembers().forEach( []( auto const& port ) {
         std::cout << "   " << port.zetKey().name() << ( port.value() ? " shut\n" : " open\n" );
      } );
   }

 private:
   using Demuxer = Zet::NboAttrLog::Demuxer;

   Zet::Ptr< Zet::Entity > root( Zet::TypeId, Zet::Name const& name ) override {
      return name == copy_->name() ? copy_ : nullptr;
   }
   static void move( Demuxer& from, Demuxer& to ) {
      from.handleRoom();
      while ( from.out()->unsentSize() != 0 ) {
         auto const bytes = from.out()->unsent();
         if ( !to.in()->receive( bytes ) )
            std::cerr << "fault: " << to.in()->error() << '\n';
         from.out()->sentIs( bytes.size() );
      }
   }

   Zet::Ptr< PortTable > const copy_ = Zet::make< PortTable >( "ports" );
   Zet::Ptr< Demuxer > const writer_ = Demuxer::DemuxerIs( Demuxer::Side::server, 1 << 16 );
   Zet::Ptr< Demuxer > const reader_ = Demuxer::DemuxerIs( Demuxer::Side::client, 1 << 16 );
};

} // namespace

int
main() {
   Host host;
   Copy copy( *host.table );
   auto const turn = [ & ]( char const* what, auto... events ) {
      std::cout << what << '\n';
      ( events(), ... );
      host.endTurn();
      copy.move();
   };
   auto const link = [ & ]( char const* name, bool isUp ) {
      return [ &host, name, isUp ] { host.handleLink( name, isUp ); };
   };

   host.configure( "rack1", "uplink1", { "server1", "shared" } );
   host.configure( "rack2", "uplink2", { "server2", "shared" } );
   for ( char const* const name : { "uplink1", "uplink2", "server1", "server2", "shared" } )
      host.handleNewInterface( name );
   turn( "start, no uplink is up", [ & ] { host.start(); } );
   turn( "uplink1 comes up", link( "uplink1", true ) );
   turn( "uplink1 flaps within one turn", link( "uplink1", false ), link( "uplink1", true ) );
   turn(
       "shared is made anew", [ & ] { host.handleInterfaceGone( "shared" ); },
       [ & ] { host.handleNewInterface( "shared" ); } );
   turn( "uplink2 comes up", link( "uplink2", true ) );
   turn( "uplink2 goes down", link( "uplink2", false ) );
   turn( "the copy of the table", [ & ] { copy.print(); } );
   turn( "stop", [ & ] { host.stop(); } );
}
