#include "platform/zet/attrlog/Dir.h"
#include "platform/zet/attrlog/MsgChannel.h"
#include "tests/attrlog/Connection.h"
#include "tests/support/Allocations.h"
#include "tests/support/Gauge.h"

namespace Tests {

namespace {

TEST( Replication, ofATypeThatSaysNothingOfLogs ) {
   Connection< Gauge > connection( Zet::make< Gauge >( "gauge" ), 0u );
   auto const& source = connection.writer.root;
   auto const& replica = connection.reader.root;
   Kelnet::IntfId const et1 = intf( "et1" );
   source->titleIs( "Swann" );
   source->colourIs( Colour::blue );
   source->levelIs( et1, 1 );
   source->levelIs( intf( "et2" ), 2 );
   source->levelDel( et1 );
   source->partIs( "p" );
   connection.moveAll();
   EXPECT_EQ( stateOf( *replica ), " 0 Swann 0 unknown blue { et2=2 }p\n" );
   replica->levelIs( et1, 3 );
   replica->titleIs( "Odette" );
   connection.moveAll();
   EXPECT_EQ( source->title(), "Odette" );
   EXPECT_EQ( stateOf( *source ), stateOf( *replica ) );
}

// A source, its replica, and that one's replica: each in its own connection.
struct Relay : testing::Test {
   void moveAll() {
      for ( int turn = 0; turn < 4; ++turn ) {
         first.moveAll();
         second.moveAll();
      }
   }
   Zet::Ptr< Ufd::Config > const source = Ufd::configFactory( "root" );
   Connection< Ufd::Config > first{ source, 0u };
   Connection< Ufd::Config > second{ first.reader.root, 0u };
};

TEST_F( Relay, givesAnEntityTheSameIdAllAlongTheWay ) {
   auto const& end = second.reader.root;
   source->groupIs( "g" );
   moveAll();
   EXPECT_EQ( first.echoed + second.echoed, 0u );
   end->groupIs( "i" );
   moveAll();
   auto const id = []( Ufd::Config& root, Demuxer& demuxer, char const* name ) {
      return root.group( name )->zetNboAttrLogSa( demuxer.out() )->entityId();
   };
   EXPECT_EQ( id( *source, *first.writer.demuxer, "g" ), id( *end, *second.reader.demuxer, "g" ) );
   EXPECT_EQ( id( *source, *first.writer.demuxer, "i" ), id( *end, *second.reader.demuxer, "i" ) );
}

// The end may still use the id of a group that it has not been told to remove.
TEST_F( Relay, givesNoIdTwice ) {
   Zet::MsgChannel::DeserializingEidAnchor const seven( { 7, 0 }, *first.reader.root, "g" );
   auto const add = [ & ]( char const* name ) {
      first.reader.root->groupIs( name );
      return first.reader.root->group( name )
          ->zetNboAttrLogSa( second.writer.demuxer->out() )
          ->entityId();
   };
   EXPECT_EQ( add( "g" ), ( Zet::EntityId{ 7, 0 } ) );
   first.reader.root->groupDel( "g" );
   EXPECT_EQ( add( "g" ), ( Zet::EntityId{ 9, 0 } ) );
   EXPECT_EQ( add( "h" ), ( Zet::EntityId{ 11, 0 } ) );
}

TEST_F( Relay, hasEveryAdapterOfAnEntityHearOfTheSyncMode ) {
   using Mode = LogAdapter::SyncMode;
   Zet::Ptr< Ufd::GroupConfig > const group = source->groupIs( "g" );
   moveAll();
   auto const relay = first.reader.root->group( "g" );
   Zet::MsgChannel::Entry entry;
   relay->zetNboAttrLogSa( first.reader.demuxer->out() )->msgChannelEntryIs( &entry );
   group->zetNboAttrLogSa( first.writer.demuxer->out() )->syncModeSend( Mode::lost );
   moveAll();
   auto const inbound = relay->zetNboAttrLogSa( first.reader.demuxer->out() );
   auto const outbound = relay->zetNboAttrLogSa( second.writer.demuxer->out() );
   EXPECT_EQ( inbound->syncMode(), Mode::lost );
   EXPECT_EQ( outbound->syncMode(), Mode::lost );
   EXPECT_FALSE( outbound->bit( LogAdapter::deafBit ) );
   EXPECT_EQ( entry.mode(), 3u );
   // Others of that id are other entities.
   EXPECT_EQ( group->zetNboAttrLogSa( first.writer.demuxer->out() )->syncMode(), Mode::filling );
}

TEST( Replication, marksTheDirectorysEntryOfARootThatIsInStep ) {
   Connection< Ufd::Status > connection( Ufd::statusFactory( "root" ), 0u );
   auto const directory = Zet::make< Zet::Dir >( "dir" );
   Zet::Dir::Entry const& entry = directory->entryIs( connection.reader.root );
   connection.writer.adapter()->syncModeSend( LogAdapter::SyncMode::filling );
   connection.moveAll();
   EXPECT_EQ( entry.state(), 0u );
   connection.writer.adapter()->syncModeSend( LogAdapter::SyncMode::inStep );
   connection.moveAll();
   EXPECT_EQ( entry.state(), 3u );
}

// An input that is busy names no child: the child gets its id from the side that it comes from.
TEST( Replication, withoutAStreamBetweenAndWithHandlersThatAdd ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   connection.writer.demuxer->out()->localInIs( connection.reader.demuxer->in().get() );
   connection.reader.demuxer->out()->localInIs( connection.writer.demuxer->in().get() );
   auto const& source = connection.writer.root;
   auto const& replica = connection.reader.root;
   Log log;
   auto const reading = observe< Reenterer >( replica, log, "" );
   reading->change = [ & ] { replica->groupIs( "y" ); };
   auto const writing = observe< Reenterer >( source, log, "" );
   std::function< void() > const addBehindY = [ & ] {
      if ( source->group( "y" ) )
         source->groupIs( "z" );
      else
         writing->change = addBehindY;
   };
   writing->change = addBehindY;
   source->groupIs( "x" );
   for ( char const* name : { "x", "y", "z" } ) {
      ASSERT_TRUE( source->group( name ) && replica->group( name ) ) << name;
      source->group( name )->minLinksIs( static_cast< unsigned char >( name[ 0 ] ) );
   }
   EXPECT_EQ( stateOf( *replica ), stateOf( *source ) );
   // The reader names the children, when it can.
   auto const x = source->group( "x" )->zetNboAttrLogSa( connection.writer.demuxer->out() );
   EXPECT_FALSE( x->bit( LogAdapter::awaitsIdBit ) );
   EXPECT_EQ( x->entityId().second, static_cast< std::uint32_t >( Side::client ) );
   source->groupDelAll();
   EXPECT_EQ( stateOf( *replica ), "" );
   connection.writer.demuxer->out()->localInIs( nullptr );
   connection.reader.demuxer->out()->localInIs( nullptr );
}

// What a handler removes while it is told of it is removed at the source as well.
TEST( Replication, ofAMemberThatAnObserverRemovesAtOnce ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   Log log;
   auto const observer = observe< Reenterer >( connection.reader.root, log, "" );
   observer->change = [ & ] { connection.reader.root->groupDel( "g" ); };
   connection.writer.root->groupIs( "g" )->minLinksIs( 3 );
   connection.moveAll();
   EXPECT_EQ( stateOf( *connection.reader.root ), "" );
   EXPECT_EQ( stateOf( *connection.writer.root ), "" );
}

TEST( Replication, ofAChangeAllocatesNothing ) {
   auto const status = Ufd::statusFactory( "root" );
   auto const group = status->groupIs( "g" );
   auto const config = Ufd::configFactory( "root" );
   auto const settings = config->groupIs( "g" );
   settings->intfsToMonitorIs( intf( "et1" ), false );
   Connection< Ufd::Status > connection( status, 0u );
   Connection< Ufd::Config > other( config, 0u );
   EXPECT_EQ( allocationsOf( [ & ] {
                 group->groupLinkStatusIs( Ufd::GroupLinkStatus::down );
                 group->numTimesDisabledInc( 1 );
                 group->prevDisabledTimeIs( 2 );
                 settings->minLinksIs( 2 );
                 settings->intfsToMonitorIs( Kelnet::IntfId( "et1" ), true );
                 settings->intfsToMonitorDel( Kelnet::IntfId( "et1" ) );
              } ),
              0u );
   EXPECT_EQ( connection.writer.demuxer->out()->records(), 3u + 9u );
   connection.moveAll();
   other.moveAll();
   EXPECT_EQ( stateOf( *connection.reader.root ), stateOf( *status ) );
   EXPECT_EQ( stateOf( *other.reader.root ), stateOf( *config ) );
}

} // namespace

} // namespace Tests
