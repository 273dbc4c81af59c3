#include "tests/attrlog/Connection.h"

#include <fstream>
#include <functional>

namespace Tests {

namespace {

// Every change gives that record, byte for byte, and that record gives that change. The group "g"
// has the entity id (5, 0).
TEST( Record, ofAConfig ) {
   using Ufd::Config;
   struct {
      char const* what;
      std::function< void( Config& ) > change;
      //  length  entity id           attribute  4  5        6        7   token, payload, token
      char const* record;
   } const cases[] = {
      { "a number", []( Config& c ) { c.group( "g" )->minLinksIs( 4000000000 ); },
        "001c 00000005 00000000 00000104 01 00000000 00000000 00 01 ee6b2800 03" },
      { "a member", []( Config& c ) { c.group( "g" )->intfsToMonitorIs( intf( "et1" ), true ); },
        "001e 00000005 00000000 00000102 01 00000000 00000000 00 01 0003 657431 01 03" },
      { "another value",
        []( Config& c ) { c.group( "g" )->intfsToMonitorIs( intf( "et1" ), false ); },
        "001e 00000005 00000000 00000102 01 00000000 00000000 00 01 0003 657431 00 03" },
      { "no member", []( Config& c ) { c.group( "g" )->intfsToMonitorDel( intf( "et1" ) ); },
        "001d 00000005 00000000 fffffefe 01 00000000 00000000 00 01 0003 657431 03" },
      { "a member to disable, without a name",
        []( Config& c ) { c.group( "g" )->intfsToDisableIs( {}, true ); },
        "001b 00000005 00000000 00000103 01 00000000 00000000 00 01 0000 01 03" },
      { "none to disable", []( Config& c ) { c.group( "g" )->intfsToDisableDel( {} ); },
        "001a 00000005 00000000 fffffefd 01 00000000 00000000 00 01 0000 03" },
      { "a child, and then what it has", []( Config& c ) { c.groupIs( "h" ); },
        "0023 00000003 00000000 00000102 01 00000000 00000097 00 01 0001 68 00000007 00000000 03"
        "0019 00000007 00000000 00000006 01 00000000 00000000 00 01 00 03"
        "0018 00000007 00000000 00000102 02 00000000 00000000 00 01 03"
        "0018 00000007 00000000 00000102 02 00000000 00000000 02 01 03"
        "0018 00000007 00000000 00000103 02 00000000 00000000 00 01 03"
        "0018 00000007 00000000 00000103 02 00000000 00000000 02 01 03"
        "001c 00000007 00000000 00000104 01 00000000 00000000 00 01 00000001 03" },
      { "no child", []( Config& c ) { c.groupDel( "h" ); },
        "001b 00000003 00000000 fffffefe 01 00000000 00000000 00 01 0001 68 03" },
   };
   auto const source = Ufd::configFactory( "root" );
   source->groupIs( "g" );
   Connection< Config > connection( source, 0u );
   for ( auto const& [ what, change, record ] : cases ) {
      SCOPED_TRACE( what );
      EXPECT_EQ( hex( connection.written( change ) ), hex( unhex( record ) ) );
      EXPECT_TRUE( connection.reader.receive( unhex( record ) ) ) << connection.reader.error();
      EXPECT_EQ( stateOf( *connection.reader.root ), stateOf( *source ) );
   }
   EXPECT_EQ( connection.echoed, 0u );
   EXPECT_EQ( connection.reader.demuxer->out()->unsentSize(), 0u );
}

// What an agent calls by name writes what the changes write.
TEST( Record, ofTheNamedOperations ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   auto const group = connection.writer.root->groupIs( "g" );
   group->intfsToMonitorIs( intf( "et1" ), true );
   group->intfsToDisableIs( intf( "et2" ), true );
   auto const& out = connection.writer.demuxer->out();
   auto const root = Zet::ptrCast< Ufd::Config::ZetNboAttrLogSa >( connection.writer.adapter() );
   auto const log = root->groupNboAttrLogAdapter( group );
   ASSERT_TRUE( log );
   auto const sameAs = [ & ]( auto call, auto change ) {
      Bytes const named = connection.written( [ & ]( auto& ) { call(); } );
      EXPECT_EQ( hex( named ), hex( connection.written( [ & ]( auto& ) { change(); } ) ) );
      EXPECT_FALSE( named.empty() );
   };
   Zet::Name name( "g" );
   Kelnet::IntfId et1 = intf( "et1" );
   sameAs( [ & ] { log->onMinLinks(); }, [ & ] { log->doNotification( 260, nullptr ); } );
   sameAs( [ & ] { log->onIntfsToMonitor( et1 ); }, [ & ] { log->doNotification( 258, &et1 ); } );
   sameAs( [ & ] { log->zetHandleIntfsToDisableSerializeSing( et1, false, true ); },
           [ & ] { log->doNotification( -259, &et1 ); } );
   EXPECT_EQ(
       connection.written( [ & ]( auto& ) { log->zetHandleIntfsToMonitorSerializeColl(); } ).size(),
       26u + 32u + 26u );
   sameAs( [ & ] { root->onGroup( name ); }, [ & ] { root->doNotification( 258, &name ); } );
   EXPECT_EQ( root->groupNboAttrLogAdapterDel( group ), log );
   EXPECT_FALSE( root->groupNboAttrLogAdapter( group ) );
   // Also one that was attached through the group's own hook.
   auto const own = group->zetNboAttrLogSaIs( {}, 0, out, nullptr );
   EXPECT_EQ( root->groupNboAttrLogAdapterDel( group ), own );
   EXPECT_FALSE( own->nboAttrLogOut() );
   Bytes const creation = connection.written(
       [ & ]( auto& ) { root->groupNboAttrLogAdapterIs( {}, group, 1, out, nullptr ); } );
   EXPECT_EQ( creation[ 22 ], Zet::NboAttrLog::createsEntity );
   auto const again = root->groupNboAttrLogAdapter( group );
   ASSERT_TRUE( again );
   LogAdapter::Zet_BitSet announced = again->zet_bitSet();
   announced.bitIs( LogAdapter::announcedBit, true );
   EXPECT_TRUE( connection
                    .written( [ & ]( auto& ) {
                       root->groupNboAttrLogAdapterIs( announced, group, 1, out, nullptr );
                    } )
                    .empty() );
}

// Nondestructing entities are not counted, so the replica's is observed and set back.
TEST( Record, ofNondestructing ) {
   auto const source = Ufd::statusFactory( "root" );
   Connection< Ufd::Status > connection( source, 0u );
   auto const nondestructingIs = [ & ]( bool on ) {
      return hex( connection.written( [ on ]( auto& root ) { root.isNondestructingIs( on ); } ) );
   };
   std::string const on =
       hex( unhex( "0019 00000003 00000000 00000006 01 00000000 00000000 00 01 01 03" ) );
   ASSERT_EQ( nondestructingIs( true ), on );
   ASSERT_TRUE( connection.reader.receive( unhex( on ) ) );
   EXPECT_TRUE( connection.reader.root->isNondestructing() );
   std::string const off = nondestructingIs( false );
   ASSERT_TRUE( connection.reader.receive( unhex( off ) ) );
   EXPECT_FALSE( connection.reader.root->isNondestructing() );
   connection.reader.demuxer->peerSetsNondestructingIs( false );
   EXPECT_TRUE( connection.reader.receive( unhex( on ) ) );
   EXPECT_FALSE( connection.reader.root->isNondestructing() );
}

// Calls visit( line ) for each line of docs/attribute-log.md between those two.
template < class Visit >
void
forEachDocumentedLine( std::string_view first, std::string_view last, Visit visit ) {
   std::ifstream document( UFD_DOCS "/attribute-log.md" );
   std::string line;
   while ( std::getline( document, line ) && line != first ) {
   }
   while ( std::getline( document, line ) && line != last )
      visit( line );
}

// How the lines of the documented table of attributes begin.
template < class T >
std::string
documentationOf() {
   std::ostringstream lines;
   AttrLog::forEachSerialized< T >( [ & ]( auto place ) {
      auto const& row = std::get< place >( AttrLog::serializedRows< T > );
      if constexpr ( place != 0 )
         lines << "| `" << T::_fwkType()->fullName() << "` | " << row.id << " | `" << row.name
               << "` |\n";
   } );
   return lines.str();
}

TEST( Record, ofTheDocumentedAttributes ) {
   std::string documented;
   forEachDocumentedLine( "## Attributes", "## One session", [ & ]( std::string const& line ) {
      if ( line.starts_with( "| `" ) )
         documented += line.substr( 0, line.find( "` | ", line.find( "` | " ) + 1 ) + 3 ) + '\n';
   } );
   EXPECT_EQ( documented, documentationOf< Ufd::Config >() + documentationOf< Ufd::GroupConfig >() +
                              documentationOf< Ufd::Status >() +
                              documentationOf< Ufd::GroupStatus >() );
}

// The session of docs/attribute-log.md, whose lines are bytes and, behind a semicolon, a comment.
TEST( Record, ofTheDocumentedSession ) {
   std::string documented;
   forEachDocumentedLine( "``` session", "```", [ & ]( std::string const& line ) {
      documented += line.substr( 0, line.find( ';' ) );
   } );

   End< Ufd::Status > writer( Side::server, Ufd::statusFactory( "status" ) );
   auto const group = writer.root->groupIs( "g1" );
   writer.announce();
   group->groupLinkStatusIs( Ufd::GroupLinkStatus::down );
   group->numTimesDisabledInc( 1 );
   group->prevDisabledTimeIs( 123.456 );
   writer.root->groupDel( "g1" );
   EXPECT_EQ( hex( taken( *writer.demuxer ) ), hex( unhex( documented ) ) );

   End< Ufd::Status > reader( Side::client, Ufd::statusFactory( "status" ) );
   Bytes bytes = unhex( documented );
   bytes.resize( bytes.size() - 30 );
   EXPECT_TRUE( reader.receive( bytes ) ) << reader.error();
   EXPECT_EQ( stateOf( *reader.root ), "g1 down 1 123.456\n" );
}

TEST( Record, ofSyncModeAndReplayRequest ) {
   Connection< Ufd::Status > connection( Ufd::statusFactory( "root" ), 0u );
   Bytes const mode = connection.written( [ & ]( auto& ) {
      connection.writer.adapter()->syncModeSend( LogAdapter::SyncMode::inStep );
   } );
   EXPECT_EQ( hex( mode ), hex( unhex( "001c 00000003 00000000 00000087 01 00000000 00000000 00"
                                       "01 00000001 03" ) ) );
   EXPECT_TRUE( connection.reader.receive( mode ) );
   EXPECT_EQ( connection.reader.adapter()->syncMode(), LogAdapter::SyncMode::inStep );
   connection.reader.adapter()->replayRequestSend( { 6, 258 } );
   EXPECT_EQ( hex( taken( *connection.reader.demuxer ) ),
              hex( unhex( "0024 00000003 00000000 ffffff70 01 00000000 00000000 00"
                          "01 0008 0000 00000006 00000102 03" ) ) );
}

} // namespace

} // namespace Tests
