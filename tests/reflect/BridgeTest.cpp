#include "adapters/reflect/Bridge.h"

#include "tests/reflect/ReflectedWorld.h"
#include "tests/support/Entities.h"
#include "tests/support/Failures.h"
#include "tests/support/Gauge.h"

#include <gtest/gtest.h>

#include <memory>

namespace Tests {

namespace {

// Writes down what an interface tells: "258", and "258 at e1".
class Teller : public Zet::GenericIf::Watcher {
 public:
   explicit Teller( Zet::Ptr< Zet::GenericIf > on ) : interface( std::move( on ) ) {
      interface->watcherIs( *this );
   }
   ~Teller() override { interface->watcherDel( *this ); }

   void onAttribute( Zet::AttributeId id ) override { told.push_back( std::to_string( id ) ); }
   void onAttributeAt( Zet::AttributeId id, Zet::Ptr< Zet::GenericIf > const& key ) override {
      told.push_back( std::to_string( id ) + " at " + key->strRep().c_str() );
   }
   Log take() { return std::exchange( told, {} ); }

   Zet::Ptr< Zet::GenericIf > interface;
   Log told;
};

// Drops, when it is told of anything, another watcher, then the interface.
struct Dropper : Zet::GenericIf::Watcher {
   explicit Dropper( Zet::Ptr< Zet::GenericIf > const& on ) : interface( on ) {
      on->watcherIs( *this );
      other = std::make_unique< Teller >( on );
   }
   void onAttribute( Zet::AttributeId ) override { drop(); }
   void onAttributeAt( Zet::AttributeId, Zet::Ptr< Zet::GenericIf > const& ) override { drop(); }
   void drop() {
      ++times;
      other.reset();
      interface->watcherDel( *this );
      interface = nullptr;
   }

   int times = 0;
   Zet::Ptr< Zet::GenericIf > interface;
   std::unique_ptr< Teller > other;
};

} // namespace

TEST( NotificationBridge, TellsAtOnceUnlessItDefers ) {
   ReflectedWorld const world;
   Teller group( world.of( "group" ) );
   world.group->minLinksIs( 3 );
   world.group->intfsToMonitorIs( intf( "e1" ), false );
   world.group->intfsToDisableDel( intf( "d1" ) );
   EXPECT_EQ( ( Log{ "260", "258 at e1", "259 at d1" } ), group.take() );

   group.interface->isDeferringIs( true );
   world.group->minLinksIs( 4 );
   world.group->intfsToDisableIs( intf( "d2" ), true );
   world.group->intfsToMonitorIs( intf( "e2" ), true );
   world.group->intfsToMonitorIs( intf( "e3" ), true );
   EXPECT_EQ( Log{ "260" }, group.take() );
   // One change of a collection names its key, more of them the collection as a whole.
   group.interface->handleNotification( nullptr );
   EXPECT_EQ( ( Log{ "259 at d2", "258" } ), group.take() );
   group.interface->handleNotification( nullptr );
   EXPECT_EQ( Log{}, group.take() );
}

TEST( NotificationBridge, TellsOfAllAttributesInTheirOrder ) {
   ReflectedWorld const world;
   Teller group( world.of( "group" ) );
   group.interface->isDeferringIs( true );
   world.group->intfsToDisableIs( intf( "d2" ), true );
   unsigned int changes = 0;
   group.interface->zetOnAttribute( 260, changes );
   group.interface->handleNotification( nullptr );
   EXPECT_EQ( ( Log{ "259 at d2", "260" } ), group.take() );
   world.group->intfsToDisableIs( intf( "d3" ), true );
   group.interface->zetOnAttribute( Zet::GenericIf::allAttributesId, changes );
   group.interface->handleNotification( nullptr );
   // The one change of a collection is told of with all the rest.
   EXPECT_EQ( ( Log{ "258", "259", "260", "261" } ), group.take() );
   group.interface->handleNotification( nullptr );
   EXPECT_EQ( Log{}, group.take() );
}

TEST( NotificationBridge, EveryEntityTells ) {
   ReflectedWorld const world;
   Teller config( world.of( "config" ) );
   Teller status( world.of( "status" ) );
   Teller groupStatus( world.of( "groupStatus" ) );
   Teller root( world.of( "root" ) );
   world.config->groupIs( "h" );
   world.group->minLinksIs( 9 );
   world.root->uplinkFailureDetectionSmDel();
   world.config->isNondestructingIs( true );
   world.config->isNondestructingIs( false );
   world.config->isNondestructingIs( false );
   EXPECT_EQ( ( Log{ "258 at 'h'", "6", "6" } ), config.take() );
   EXPECT_EQ( Log{ "258 at 'h'" }, status.take() );
   EXPECT_EQ( ( Log{ "258", "259", "260" } ), groupStatus.take() );
   EXPECT_EQ( Log{ "258" }, root.take() );
}

TEST( NotificationBridge, ATypeTellsByItsRowsAlone ) {
   auto const gauge = Zet::make< Gauge >( "gauge" );
   Teller const watched( Zet::make< Reflect::ReflectedEntityIf< Gauge > >( gauge, false ) );
   gauge->valueIs( 2.5 );
   gauge->titleIs( "t" );
   gauge->isOpenIs( true );
   gauge->linkIs( Gauge::Link::up );
   gauge->levelIs( intf( "e1" ), 3 );
   gauge->levelIs( intf( "e1" ), 4 );
   EXPECT_EQ( gauge->level( intf( "e1" ) ), 4u );
   gauge->partIs( "p" );
   // Nobody is told when a value is set to what it is.
   gauge->valueIs( 2.5 );
   gauge->titleIs( "t" );
   gauge->linkIs( Gauge::Link::up );
   gauge->levelIs( intf( "e1" ), 4 );
   EXPECT_EQ( ( Log{ "258", "260", "261", "262", "263 at e1", "263 at e1", "264 at 'p'" } ),
              watched.told );
}

TEST( NotificationBridge, AWatcherMayDropOthersAndTheInterface ) {
   ReflectedWorld const world;
   Dropper atOnce( world.of( "group" ) );
   world.group->minLinksIs( 3 );
   EXPECT_EQ( 1, atOnce.times );

   Dropper later( world.of( "group" ) );
   later.interface->isDeferringIs( true );
   world.group->intfsToMonitorIs( intf( "e7" ), true );
   world.group->intfsToDisableIs( intf( "d7" ), true );
   later.interface->handleNotification( nullptr );
   EXPECT_EQ( 1, later.times );
}

TEST( NotificationBridge, AWatcherThatThrowsIsReportedAndAllElseIsTold ) {
   struct Thrower : Teller {
      using Teller::Teller;
      void onAttribute( Zet::AttributeId ) override { throw std::runtime_error( "thrown" ); }
      void onAttributeAt( Zet::AttributeId id, Zet::Ptr< Zet::GenericIf > const& ) override {
         onAttribute( id );
      }
   };
   CollectedFailures const failures;
   ReflectedWorld const world;
   Thrower first( world.of( "group" ) );
   Teller second( first.interface );
   world.group->minLinksIs( 3 );
   first.interface->isDeferringIs( true );
   world.group->intfsToMonitorIs( intf( "e7" ), true );
   world.group->intfsToDisableIs( intf( "d7" ), true );
   first.interface->handleNotification( nullptr );
   EXPECT_EQ( ( Log{ "260", "258 at e7", "259 at d7" } ), second.take() );
   EXPECT_EQ( ( Log{ "/config/g: a handler of minLinks failed: thrown",
                     "/config/g: a handler of intfsToMonitor failed: thrown",
                     "/config/g: a handler of intfsToDisable failed: thrown" } ),
              failures.texts );
}

TEST( NotificationBridge, AZombieTellsNothing ) {
   ReflectedWorld const world;
   Teller group( world.of( "group" ) );
   group.interface->zetDoZombieReactors( true );
   world.group->minLinksIs( 3 );
   world.group->intfsToMonitorIs( intf( "e7" ), true );
   EXPECT_EQ( Log{}, group.take() );
   group.interface->zetDoZombieReactors( false );
   world.group->minLinksIs( 4 );
   EXPECT_EQ( Log{ "260" }, group.take() );
}

} // namespace Tests
