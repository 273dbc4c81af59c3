#include "tests/attrlog/Connection.h"
#include "tests/support/Failures.h"

#include <algorithm>

namespace Tests {

namespace {

// What a reader makes of a stream.
struct Reading {
   explicit Reading( Bytes const& bytes, std::size_t pieces = ~std::size_t{ 0 } )
       : reader( Side::client, Ufd::configFactory( "root" ) ) {
      // Bytes that may be anything have no say in the life of entities.
      reader.demuxer->peerSetsNondestructingIs( false );
      for ( std::size_t at = 0; at < bytes.size(); at += std::min( pieces, bytes.size() - at ) )
         sound = reader.demuxer->in()->receive(
             std::span( bytes ).subspan( at, std::min( pieces, bytes.size() - at ) ) );
      state = stateOf( *reader.root );
   }
   End< Ufd::Config > reader;
   bool sound = true;
   std::string state;
};

// A session with every kind of record.
Bytes
session() {
   End< Ufd::Config > writer( Side::server, Ufd::configFactory( "root" ) );
   auto const group = writer.root->groupIs( "g" );
   writer.announce();
   group->intfsToMonitorIs( intf( "et1" ), true );
   group->intfsToMonitorIs( intf( "et2" ), false );
   group->intfsToDisableIs( intf( "et3" ), true );
   group->minLinksIs( 2 );
   group->intfsToMonitorDel( intf( "et1" ) );
   writer.root->groupIs( "h" );
   writer.root->groupDel( "g" );
   writer.adapter()->syncModeSend( LogAdapter::SyncMode::inStep );
   writer.adapter()->replayRequestSend( { 258 } );
   writer.adapter()->doThis();
   return taken( *writer.demuxer );
}

// What has been applied of the stream is what its whole records up to there are worth: the reader
// of these alone has the same replica, and no complaint.
void
expectWholeRecords( Reading const& reading, Bytes bytes ) {
   bytes.resize( reading.reader.demuxer->in()->offset() );
   Reading const whole( bytes );
   EXPECT_TRUE( whole.sound ) << whole.reader.error();
   EXPECT_EQ( reading.state, whole.state );
   EXPECT_EQ( reading.reader.demuxer->out()->records(), 0u );
   std::string const error = reading.reader.error();
   EXPECT_EQ( reading.sound, error.empty() );
   EXPECT_TRUE( error.empty() || error.find( ", at offset " ) != std::string::npos ||
                error.starts_with( "the record at offset " ) )
       << error;
}

TEST( Stream, isAppliedUpToAnyPointWhereItBreaksOff ) {
   Bytes const stream = session();
   ASSERT_EQ( Reading( stream ).state, Reading( stream, 1 ).state );
   for ( std::size_t size = 0; size <= stream.size(); ++size ) {
      Bytes const prefix( stream.begin(), stream.begin() + static_cast< std::ptrdiff_t >( size ) );
      Reading const reading( prefix, 7 );
      EXPECT_TRUE( reading.sound ) << size << ' ' << reading.reader.error();
      EXPECT_EQ( reading.reader.demuxer->in()->isInsideRecord(),
                 reading.reader.demuxer->in()->offset() != size );
      expectWholeRecords( reading, prefix );
   }
}

TEST( Stream, isAppliedInWholeRecordsWhateverByteIsWrong ) {
   Bytes const stream = session();
   std::size_t refused = 0;
   for ( std::size_t at = 0; at < stream.size(); ++at )
      for ( int const flip : { 0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0xff } ) {
         SCOPED_TRACE( at );
         Bytes corrupt = stream;
         corrupt[ at ] = static_cast< unsigned char >( corrupt[ at ] ^ flip );
         Reading const reading( corrupt );
         refused += !reading.sound;
         expectWholeRecords( reading, corrupt );
      }
   // Most bytes are structure.
   EXPECT_GT( refused, stream.size() * 9 / 2 );
}

TEST( Stream, saysWhichFieldIsWrongAndWhere ) {
   struct {
      char const* record;
      char const* error;
   } const cases[] = {
      { "001c 00000005 00000000 00000104 03 00000000 00000000 00 01 00000001 03",
        "header field 4, the kind, at offset 14: it is neither 1 nor 2" },
      { "001c 00000005 00000000 00000104 01 00000001 00000000 00 01 00000001 03",
        "header field 5, at offset 15: it is not 0" },
      { "001c 00000005 00000000 00000104 01 00000000 00000097 00 01 00000001 03",
        "header field 6, the creation, at offset 19: attribute 260 creates no entity" },
      { "001c 00000005 00000000 00000104 01 00000000 00000000 01 01 00000001 03",
        "header field 7, the transaction, at offset 23: it does not fit the record" },
      { "001c 00000005 00000000 00000104 01 00000000 00000000 00 02 00000001 03",
        "the token before the payload, at offset 24: it is not 1" },
      { "001c 00000005 00000000 00000104 01 00000000 00000000 00 01 00000001 04",
        "the token behind the payload, at offset 29: it is not 3" },
      { "001a 00000005 00000000 00000104 01 00000000 00000000 00 01 0001 03",
        "minLinks, at offset 25: 4 bytes are needed, 2 are left" },
      { "001d 00000005 00000000 00000104 01 00000000 00000000 00 01 00000001 00 03",
        "minLinks, at offset 29: 1 bytes are left over behind it" },
      { "001e 00000005 00000000 00000102 01 00000000 00000000 00 01 0003 657431 02 03",
        "intfsToMonitor, at offset 30: a truth is 0 or 1, not 2" },
      { "001e 00000005 00000000 00000102 01 00000000 00000000 00 01 0004 657431 01 03",
        "intfsToMonitor, at offset 31: 1 bytes are needed, 0 are left" },
      { "0019 00000005 00000000 00000105 01 00000000 00000000 00 01 00 03",
        "header field 3, the attribute, at offset 10: 261 is none of /root/g" },
      { "0018 00000005 00000000 00000104 02 00000000 00000000 00 01 03",
        "header field 3, the attribute, at offset 10: 260 is no collection of /root/g" },
      { "001c 00000009 00000000 00000104 01 00000000 00000000 00 01 00000001 03",
        "header fields 1 and 2, the entity, at offset 2: (9, 0) is none of this connection" },
      { "001c 00000005 00000000 00000087 01 00000000 00000000 00 01 00000003 03",
        "the sync mode, at offset 25: 3 is none" },
      { "0020 00000005 00000000 ffffff70 01 00000000 00000000 00 01 0008 0000 00000102 03",
        "the size of a replay request, at offset 25: 8 bytes of attribute ids do not fill the "
        "record" },
      { "0023 00000003 00000000 00000102 01 00000000 00000097 00 01 0001 68 00000001 00000000 03",
        "the entity id of a member, at offset 28: it is reserved" },
      { "0023 00000003 00000000 00000102 01 00000000 00000097 00 01 0001 68 00000005 00000000 03",
        "the entity id of a member, at offset 28: it is that of /root/g" },
      { "0023 00000003 00000000 00000102 01 00000000 00000000 00 01 0001 68 00000007 00000000 03",
        "header field 6, the creation, at offset 19: a member is created with 151" },
      { "0018 00000001 00000000 00000088 01 00000000 00000097 00 01 03",
        "header field 6, the creation, at offset 19: a root is announced with 0" },
      { "001c 00000001 00000000 00000104 01 00000000 00000000 00 01 00000001 03",
        "header field 3, the attribute, at offset 10: only a root is announced under this entity "
        "id" },
   };
   for ( auto const& one : cases ) {
      auto const source = Ufd::configFactory( "root" );
      source->groupIs( "g" );
      Connection< Ufd::Config > connection( source, 0u );
      std::string const before = stateOf( *connection.reader.root );
      std::uint64_t const offset = connection.reader.demuxer->in()->offset();
      EXPECT_FALSE( connection.reader.receive( unhex( one.record ) ) );
      // The table counts from the record's beginning.
      std::string expected = one.error;
      std::size_t const at = expected.find( "offset " ) + 7;
      std::size_t const digits = expected.find( ':' ) - at;
      expected.replace( at, digits,
                        std::to_string( std::stoul( expected.substr( at, digits ) ) + offset ) );
      EXPECT_EQ( connection.reader.error(), expected );
      EXPECT_EQ( stateOf( *connection.reader.root ), before );
      // Nothing is taken any more.
      EXPECT_FALSE( connection.reader.receive(
          unhex( "001c 00000005 00000000 00000104 01 00000000 00000000 00 01 00000007 03" ) ) );
      EXPECT_EQ( stateOf( *connection.reader.root ), before );
   }
}

TEST( Stream, takesNoRootThatIsNotWanted ) {
   auto const announced = [] {
      End< Ufd::Status > writer( Side::server, Ufd::statusFactory( "root" ) );
      writer.announce();
      return taken( *writer.demuxer );
   }();
   End< Ufd::Status > other( Side::client, Ufd::statusFactory( "other" ) );
   EXPECT_FALSE( other.receive( announced ) );
   EXPECT_EQ( other.error(),
              "the type of a root, at offset 64: no UplinkFailureDetection::Status of the "
              "name root is wanted here" );
   End< Ufd::Config > another( Side::client, Ufd::configFactory( "root" ) );
   EXPECT_FALSE( another.receive( announced ) );
   End< Ufd::Status > none( Side::client, Ufd::statusFactory( "root" ) );
   none.demuxer->rootsIs( nullptr );
   EXPECT_FALSE( none.receive( announced ) );
}

// The buffer is all that a connection takes, however long its peer does not read.
TEST( Output, isBoundedAndKeepsRecordsWhole ) {
   auto const out = Zet::make< Zet::NboAttrLog::Out >( std::size_t{ 20000 } );
   auto const isWritten = [ & ]( unsigned char kind, std::string_view text ) {
      out->nextHeaderIs( { { 5, 0 }, 258, kind } );
      *out << Zet::NboAttrLog::Out::TransactToken::begin;
      if ( !text.empty() )
         *out << Zet::String8( text );
      *out << Zet::NboAttrLog::Out::TransactToken::end;
      return out->hasWritten();
   };
   for ( std::size_t round = 1; round < 200; ++round ) {
      bool const hadRoom = out->hasSufficientBuffer();
      while (
          isWritten( Zet::NboAttrLog::attributeKind, std::string( 1 + round * 7 % 900, 'x' ) ) ) {
      }
      EXPECT_FALSE( out->hasSufficientBuffer() );
      // Markers go into what is kept free for them, until that is full as well.
      int markers = 0;
      while ( isWritten( Zet::NboAttrLog::transactionKind, "" ) && ++markers < 1000 ) {
      }
      EXPECT_TRUE( !hadRoom || markers >= 16 );
      EXPECT_LE( out->unsentSize(), out->capacity() );
      // As many records leave as round says. sentIs() asserts that each is whole.
      for ( std::size_t records = 0; records < round % 30 && out->unsentSize() != 0; ++records )
         out->sentIs( 2u + Zet::NboAttrLog::load< std::uint16_t >( out->unsent().data() ) );
   }
}

TEST( Output, refusesATextThatIsTooLong ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   std::string const tooLong( Zet::NboAttrLog::stringLimit + 1, 'x' );
   CollectedFailures const failures;
   auto const& root = *connection.writer.root;
   connection.writer.root->groupIs( tooLong );
   ASSERT_EQ( failures.texts.size(), 1u );
   EXPECT_NE( failures.texts[ 0 ].find( "/root: a handler of group failed: a text in the attribute "
                                        "log has at most 1024 bytes, not 1025: xxxx" ),
              std::string::npos );
   // It is reported in a replay as well, and the rest is replicated.
   connection.writer.root->groupIs( "g" )->minLinksIs( 3 );
   connection.writer.adapter()->doThis();
   connection.moveAll();
   EXPECT_EQ( failures.texts.size(), 2u );
   EXPECT_EQ( stateOf( *connection.reader.root ), "g { } { } 3\n" );
   EXPECT_EQ( root.groupMembers().count(), 2u );
}

} // namespace

} // namespace Tests
