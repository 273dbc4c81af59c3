#include "platform/zet/attrlog/Dir.h"
#include "platform/zet/attrlog/Errors.h"
#include "platform/zet/attrlog/MsgChannel.h"
#include "tests/attrlog/Connection.h"

namespace Tests {

namespace {

// A record, but for its length and tokens, with which it is framed here.
Bytes
framed( std::string_view header, std::string_view payload ) {
   Bytes record = unhex( header );
   record.push_back( 1 );
   Bytes const values = unhex( payload );
   record.insert( record.end(), values.begin(), values.end() );
   record.push_back( 3 );
   record.insert( record.begin(), { static_cast< unsigned char >( record.size() >> 8 ),
                                    static_cast< unsigned char >( record.size() & 255 ) } );
   return record;
}

constexpr char const* rootGroup = "00000003 00000000 00000102 01 00000000 00000097 00";
constexpr char const* linkStatus = "00000005 00000000 00000102 01 00000000 00000000 00";

// A Status with group "g", of entity id (5, 0), and its replica.
struct StatusReader : testing::Test {
   StatusReader() {
      Zet::Ptr< Ufd::Status > const source = Ufd::statusFactory( "root" );
      source->groupIs( "g" );
      connection.emplace( source, 0u );
   }
   Ufd::Status& replica() { return *connection->reader.root; }
   bool receive( std::string_view header, std::string_view payload ) {
      return connection->reader.receive( framed( header, payload ) );
   }
   void expectError( std::string const& text ) {
      EXPECT_EQ( connection->reader.error(), text );
      EXPECT_EQ( stateOf( replica() ), "g unknown 0 0\n" );
      EXPECT_FALSE( connection->reader.adapter()->bit( LogAdapter::applyingBit ) );
   }
   Bytes echoed() { return taken( *connection->reader.demuxer ); }

   std::optional< Connection< Ufd::Status > > connection;
};

TEST_F( StatusReader, storesAndCountsUnknownEnumerationValues ) {
   EXPECT_TRUE( receive( linkStatus, "00000007" ) );
   EXPECT_EQ( stateOf( replica() ), "g GroupLinkStatus(7) 0 0\n" );
   EXPECT_EQ( connection->reader.demuxer->unknownEnums(), 1u );
   EXPECT_TRUE( receive( linkStatus, "00000002" ) );
   EXPECT_EQ( connection->reader.demuxer->unknownEnums(), 1u );
}

TEST_F( StatusReader, replacesAMemberThatIsAnotherEntityToTheWriter ) {
   Log log;
   auto const member = replica().group( "g" );
   member->numTimesDisabledIs( 5 );
   echoed();
   auto const observer = observe< Recorder >( connection->reader.root, log, "" );
   EXPECT_TRUE( receive( rootGroup, "0001 67 00000009 00000000" ) );
   EXPECT_NE( replica().group( "g" ), member );
   EXPECT_EQ( stateOf( replica() ), "g unknown 0 0\n" );
   EXPECT_EQ( log.size(), 2u );
   EXPECT_EQ( echoed(), Bytes{} );
   // What is still said of the old one is of nobody.
   EXPECT_TRUE( receive( linkStatus, "00000002" ) );
   EXPECT_EQ( stateOf( replica() ), "g unknown 0 0\n" );
}

TEST_F( StatusReader, doesNotEnterARecordTwice ) {
   auto const adapter = connection->reader.adapter();
   std::string const at = std::to_string( connection->reader.demuxer->in()->offset() );
   {
      Zet::BitScope const applying( *adapter, LogAdapter::applyingBit );
      EXPECT_FALSE( receive( rootGroup, "0001 68 00000007 00000000" ) );
   }
   expectError( "the record at offset " + at + ": entity reactor is already active" );
}

TEST_F( StatusReader, doesNotWriteToAReadOnlyProxy ) {
   auto const group = replica().group( "g" );
   auto const adapter = group->zetNboAttrLogSa( connection->reader.demuxer->out() );
   adapter->bitIs( LogAdapter::readOnlyRemoteBit, true );
   adapter->convertibleIs( true );
   EXPECT_TRUE( receive( linkStatus, "00000001" ) );
   EXPECT_FALSE( adapter->bit( LogAdapter::readOnlyRemoteBit ) );
   EXPECT_TRUE( receive( linkStatus, "00000000" ) );
   adapter->bitIs( LogAdapter::readOnlyRemoteBit, true );
   adapter->convertibleIs( false );
   std::string const at = std::to_string( connection->reader.demuxer->in()->offset() );
   EXPECT_FALSE( receive( linkStatus, "00000001" ) );
   expectError( "the record at offset " + at + ": write-update from readonly proxy: /root/g" );
}

TEST_F( StatusReader, doesNotEmptyAReadOnlyProxy ) {
   connection->reader.adapter()->bitIs( LogAdapter::readOnlyRemoteBit, true );
   EXPECT_FALSE( connection->reader.receive(
       unhex( "0018 00000003 00000000 00000102 02 00000000 00000000 00 01 03"
              "0018 00000003 00000000 00000102 02 00000000 00000000 02 01 03" ) ) );
   EXPECT_NE( replica().group( "g" ), nullptr );
}

TEST_F( StatusReader, ignoresARecordWithoutAnInput ) {
   auto const adapter = connection->reader.adapter();
   adapter->doRemountSelf( nullptr );
   adapter->handleAttrDeserialization( 258, {}, 0, nullptr );
   EXPECT_EQ( stateOf( replica() ), "g unknown 0 0\n" );
}

// What an observer throws while it is told of a failure ends the connection, not the adapter.
TEST_F( StatusReader, endsTheReplayThatAnObserverBreaksOff ) {
   Log log;
   auto const observer = observe< Thrower >( connection->reader.root, log, "" );
   observer->insists = true;
   constexpr char const* marker = "00000003 00000000 00000102 02 00000000 00000000 ";
   EXPECT_TRUE( receive( std::string( marker ) + "00", "" ) );
   auto const adapter = connection->reader.adapter();
   adapter->bitIs( LogAdapter::deafBit, true );
   EXPECT_FALSE( receive( std::string( marker ) + "02", "" ) );
   adapter->bitIs( LogAdapter::deafBit, false );
   EXPECT_EQ( stateOf( replica() ), "" );
   EXPECT_FALSE( adapter->bit( LogAdapter::applyingBit ) );
   observer->isRegisteredNotifieeIs( false );
   replica().groupIs( "h" );
   EXPECT_NE( echoed(), Bytes{} );
}

TEST_F( StatusReader, leavesAnAbortedReplayWithoutEffect ) {
   std::string const marker = "00000003 00000000 00000102 02 00000000 00000000 0";
   EXPECT_TRUE( receive( marker + '0', "" ) );
   EXPECT_TRUE( receive( marker + '1', "" ) );
   EXPECT_TRUE( receive( marker + '2', "" ) );
   EXPECT_TRUE( replica().group( "g" ) );
   EXPECT_TRUE( receive( marker + '0', "" ) );
   EXPECT_TRUE( receive( rootGroup, "0001 68 00000007 00000000" ) );
   EXPECT_TRUE( receive( marker + '2', "" ) );
   EXPECT_EQ( stateOf( replica() ), "h unknown 0 0\n" );
   EXPECT_EQ( echoed(), Bytes{} );
}

TEST( Reader, leavesNoMemberMarkedWhenItsOwnerDropsIt ) {
   End< Ufd::Config > reader( Side::client, Ufd::configFactory( "root" ) );
   auto const group = reader.root->groupIs( "g" );
   auto adapter = reader.attach( LogAdapter::asChild );
   adapter->handleAttrTransaction( 258, Transaction::open, 0 );
   EXPECT_TRUE( group->zetMarkedForDeletion() );
   adapter = nullptr;
   EXPECT_FALSE( group->zetMarkedForDeletion() );
}

// Two collections of one entity are replayed at a time, and neither to its end.
TEST( Reader, leavesNoMemberMarked ) {
   auto const source = Ufd::configFactory( "root" );
   source->groupIs( "g" )->intfsToMonitorIs( intf( "et1" ), true );
   source->group( "g" )->intfsToDisableIs( intf( "et2" ), true );
   for ( bool const isAnnouncedAnew : { false, true } ) {
      std::optional< Connection< Ufd::Config > > connection( std::in_place, source, 0u );
      auto const group = connection->reader.root->group( "g" );
      auto const adapter = group->zetNboAttrLogSa( connection->reader.demuxer->out() );
      for ( Zet::AttributeId const id : { 258, 259, 258 } )
         adapter->handleAttrTransaction( id, Transaction::open, 0 );
      if ( isAnnouncedAnew ) {
         // Nothing is kept of the id that it had.
         Zet::EntityId const before = adapter->entityId();
         adapter->doEntityIdIs( { 99, 0 }, *connection->reader.demuxer, true );
         EXPECT_FALSE( connection->reader.demuxer->flowIn( before ) );
      } else
         connection.reset();
      EXPECT_FALSE( group->intfsToMonitorMembers().begin().member()->zetMarkedForDeletion() );
      EXPECT_FALSE( group->intfsToDisableMembers().begin().member()->zetMarkedForDeletion() );
   }
}

TEST( Reader, answersWhatAnAuthorityIsAsked ) {
   Connection< Ufd::Status > connection( Ufd::statusFactory( "root" ), LogAdapter::authority );
   // A name alone is a question.
   for ( char const* creation : { "00000000", "00000097" } ) {
      EXPECT_TRUE( connection.writer.receive(
          framed( std::string( "00000003 00000000 00000102 01 00000000 " ) + creation + "00",
                  "0001 78" ) ) );
      EXPECT_EQ(
          hex( taken( *connection.writer.demuxer ) ),
          hex( unhex( "001b 00000003 00000000 fffffefe 01 00000000 00000000 00 01 0001 78 03" ) ) );
   }
}

// A peer's interface names are kept for ever, but not without limit. In a process of its own, which
// can take no new name afterwards.
TEST( Reader, keepsNoMoreNamesThanTheLimit ) {
   auto const expectRefused = [] {
      auto const source = Ufd::configFactory( "root" );
      source->groupIs( "g" );
      Connection< Ufd::Config > connection( source, 0u );
      for ( std::size_t size = 1 << 16; size != 0; size /= 2 )
         try {
            for ( int number = 0;; ++number )
               Kelnet::IntfId( std::to_string( number ) + std::string( size, 'x' ) );
         } catch ( Zet::RangeException const& ) {
         }
      connection.writer.demuxer->out()->record( { { 5, 0 }, 258 }, std::string_view( "new" ),
                                                true );
      connection.reader.receive( taken( *connection.writer.demuxer ) );
      std::cerr << connection.reader.error();
      std::exit( 0 );
   };
   EXPECT_EXIT( expectRefused(), testing::ExitedWithCode( 0 ), "too many interface names" );
}

TEST( Reader, refusesAStreamThatIsNotForIt ) {
   struct {
      char const* bytes;
      char const* error;
   } const cases[] = {
      { "5a4e414b 0001 0000", "the hello, at offset 0: this is no attribute log" },
      { "5a4e414c 0002 0000",
        "the version of the hello, at offset 4: 2 is not 1, the one spoken here" },
      { "5a4e414c 0001 0401",
        "the type of the hello, at offset 6: a text has at most 1024 bytes, not 1025" },
      { "5a4e414c 0001 0001 78",
        "the type of the hello, at offset 8: x is not y, which is expected here" },
      { "5a4e414c 0001 0001 79 ffff",
        "the length of a record, at offset 9: 65535 is not between 24 and 4094" },
   };
   for ( auto const& one : cases ) {
      End< Ufd::Status > reader( Side::client, Ufd::statusFactory( "root" ) );
      reader.demuxer->in()->expectedTypeIs( "y" );
      EXPECT_FALSE( reader.receive( unhex( one.bytes ) ) );
      EXPECT_EQ( reader.error(), one.error );
   }
}

} // namespace

} // namespace Tests
