#include "tests/attrlog/Connection.h"
#include "tests/support/Failures.h"

namespace Tests {

namespace {

constexpr std::size_t smallest = Zet::NboAttrLog::Out::smallestCapacity;

// The attribute ids of the records in these bytes; a transaction marker as "258+", "258!" for an
// abort and "258-" for its end.
std::string
recordsIn( Bytes const& bytes ) {
   std::string text;
   for ( std::size_t at = 0; at < bytes.size();
         at += std::size_t{ 2 } + Zet::NboAttrLog::load< std::uint16_t >( &bytes[ at ] ) ) {
      text += text.empty() ? "" : " ";
      text += std::to_string(
          static_cast< int >( Zet::NboAttrLog::load< std::uint32_t >( &bytes[ at + 10 ] ) ) );
      if ( bytes[ at + 14 ] == Zet::NboAttrLog::transactionKind )
         text += "+!-"[ bytes[ at + 23 ] ];
   }
   return text;
}

// A writer with a group "g", and whose output is full of records that change nothing.
struct Full : Connection< Ufd::Config > {
   explicit Full( unsigned int flags )
       : Connection( source(), flags, smallest ), group( writer.root->group( "g" ) ) {
      while ( writer.demuxer->out()->hasSufficientBuffer() )
         writer.adapter()->syncModeSend( LogAdapter::SyncMode::filling );
   }
   static Zet::Ptr< Ufd::Config > source() {
      auto const root = Ufd::configFactory( "root" );
      root->groupIs( "g" );
      return root;
   }
   // What waits, which the reader is given as well.
   Bytes moved() {
      Bytes const bytes = taken( *writer.demuxer );
      EXPECT_TRUE( reader.receive( bytes ) ) << reader.error();
      return bytes;
   }
   void expectEqual() {
      moveAll();
      EXPECT_EQ( stateOf( *reader.root ), stateOf( *writer.root ) );
      EXPECT_EQ( echoed, 0u );
      EXPECT_FALSE( writer.demuxer->hasFlow() );
   }
   Zet::Ptr< Ufd::GroupConfig > group;
};

struct Flow : testing::TestWithParam< unsigned int > {};
INSTANTIATE_TEST_SUITE_P( Mode, Flow, testing::Values( 0u, LogAdapter::deferred ) );

// What a peer asks for is replayed from its beginning, whatever replay was under way.
TEST_P( Flow, answersAReplayRequest ) {
   Full full( GetParam() );
   full.moved();
   auto const requested = [ & ]( LogAdapter& adapter, Zet::AttributeId id ) {
      adapter.replayRequestSend( { id } );
      EXPECT_TRUE( full.writer.receive( taken( *full.reader.demuxer ) ) ) << full.writer.error();
      full.writer.demuxer->handleRoom();
      return recordsIn( full.moved() );
   };
   auto const root = full.reader.adapter();
   EXPECT_EQ( requested( *root, 258 ), "258+ 258 6 258+ 258- 259+ 259- 260 258-" );
   EXPECT_EQ( requested( *root, -258 ), requested( *root, 258 ) );
   auto const group = full.reader.root->group( "g" )->zetNboAttrLogSa( full.reader.demuxer->out() );
   EXPECT_EQ( requested( *group, 260 ), "260" );
   // More than fits into the output, so that the replay is under way then.
   for ( int number = 0; number < 400; ++number )
      full.group->intfsToDisableIs( intf( ( "et" + std::to_string( number ) ).c_str() ), true );
   full.moved();
   full.writer.demuxer->handleRoom();
   full.moved();
   EXPECT_EQ( requested( *group, 259 ).substr( 0, 9 ), "259! 259+" );
   full.echoed = 0;
   full.expectEqual();
}

// A proxy that may not write fails once, and neither the host nor the next turn hears of it again.
TEST_P( Flow, givesUpWhatMayNotBeWritten ) {
   Full full( GetParam() );
   full.group->minLinksIs( 7 );
   full.writer.root->groupIs( "h" );
   for ( auto const& adapter :
         { full.group->zetNboAttrLogSa( full.writer.demuxer->out() ), full.writer.adapter() } )
      adapter->bitIs( LogAdapter::readOnlyBit, true );
   CollectedFailures const failures;
   full.moved();
   full.writer.demuxer->handleRoom();
   EXPECT_EQ( failures.texts.size(), 2u );
   full.writer.demuxer->handleRoom();
   EXPECT_EQ( failures.texts.size(), 2u );
   EXPECT_FALSE( full.writer.demuxer->hasFlow() );
}

// The ids that the flow gives back: the one to go on from, or 0.
TEST( FlowOut, saysWhereToGoOn ) {
   using Adapter = Ufd::GroupConfig::ZetNboAttrLogSa;
   Full full( 0 );
   auto const adapter =
       Zet::ptrCast< Adapter >( full.group->zetNboAttrLogSa( full.writer.demuxer->out() ) );
   full.group->minLinksIs( 5 );
   full.group->intfsToDisableIs( intf( "et1" ), true );
   auto const& flow = *adapter->flow();
   EXPECT_EQ( flow.dirtyBits(), 0b1100u );
   // Without room a scalar is retried.
   EXPECT_EQ( adapter->handleAttrFlowOut( 260 ), 260 );
   EXPECT_EQ( adapter->handleAttrFlowOut( 261 ), 0 );
   EXPECT_EQ( flow.dirtyBits(), 0b1100u );
   full.moved();
   EXPECT_EQ( adapter->handleAttrFlowOut( 260 ), 0 );
   EXPECT_EQ( flow.dirtyBits(), 0b0100u );
   EXPECT_EQ( adapter->handleAttrFlowOut( 0 ), 0 );
   EXPECT_FALSE( flow.hasDirtyAttributes() );
   EXPECT_EQ( recordsIn( full.moved() ), "260 259+ 259 259-" );
   full.expectEqual();
}

// The entry test, bit by bit.
TEST( FlagWord, decidesWhetherAChangeIsWritten ) {
   Connection< Ufd::Status > connection( Ufd::statusFactory( "root" ), 0u );
   auto const group = connection.writer.root->groupIs( "g" );
   connection.moveAll();
   auto const adapter = group->zetNboAttrLogSa( connection.writer.demuxer->out() );
   auto const written = [ & ] {
      group->numTimesDisabledInc( 1 );
      return recordsIn( taken( *connection.writer.demuxer ) );
   };
   EXPECT_EQ( written(), "259" );
   using A = LogAdapter;
   for ( A::Bit const bit : { A::awaitsIdBit, A::silentBit, A::deafBit, A::applyingBit } ) {
      adapter->bitIs( bit, true );
      EXPECT_EQ( written(), "" ) << bit;
      EXPECT_EQ( adapter->bit( bit ), bit != A::applyingBit );
      adapter->bitIs( bit, false );
   }
   // One that is deaf does not forget that it is applying.
   adapter->bitIs( A::deafBit, true );
   adapter->bitIs( A::applyingBit, true );
   EXPECT_EQ( written(), "" );
   EXPECT_TRUE( adapter->bit( A::applyingBit ) );
   adapter->bitIs( A::deafBit, false );
   adapter->bitIs( A::applyingBit, false );

   adapter->bitIs( A::writesBit, false );
   EXPECT_EQ( written(), "" );
   adapter->bitIs( A::writesBit, true );

   adapter->bitIs( A::readOnlyBit, true );
   {
      CollectedFailures const failures;
      EXPECT_EQ( written(), "" );
      EXPECT_EQ( failures.texts.at( 0 ),
                 "/root/g: a handler of numTimesDisabled failed: numTimesDisabled of /root/g can "
                 "only be read here: its source is elsewhere" );
      EXPECT_FALSE( adapter->bit( A::applyingBit ) );
   }
   adapter->convertibleIs( true );
   EXPECT_EQ( written(), "259" );
   EXPECT_FALSE( adapter->bit( A::readOnlyBit ) );

   adapter->hasNotificationActiveIs( false );
   EXPECT_EQ( written(), "" );
   adapter->hasNotificationActiveIs( true );
   EXPECT_EQ( written(), "259" );
   group->zetNboAttrLogSaDel( connection.writer.demuxer->out() );
   EXPECT_EQ( written(), "" );
   EXPECT_FALSE( group->zetNboAttrLogSa( connection.writer.demuxer->out() ) );
}

TEST( Attaching, keepsTheAdapterAndReplacesItsMask ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   auto const& out = connection.writer.demuxer->out();
   auto const adapter = connection.writer.adapter();
   LogAdapter::Zet_BitSet mask;
   mask.bitIs( LogAdapter::silentBit, true );
   mask.bitIs( LogAdapter::flowingBit, true );
   EXPECT_EQ( connection.writer.root->zetNboAttrLogSaIs( mask, 0, out, nullptr ), adapter );
   EXPECT_TRUE( adapter->bit( LogAdapter::silentBit ) );
   EXPECT_FALSE( adapter->bit( LogAdapter::flowingBit ) );
   EXPECT_TRUE( adapter->bit( LogAdapter::writesBit ) );
   EXPECT_EQ( connection.writer.root->zetNboAttrLogSaForMsgChannel( adapter ), adapter );
   EXPECT_TRUE( connection.writer.root->zetHasAttrLogInterface() );
}

// The adapters of a root and its children leave their output for another.
TEST( Attaching, movesToAnotherOutput ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   auto const group = connection.writer.root->groupIs( "g" );
   auto const& old = connection.writer.demuxer->out();
   connection.moveAll();
   auto const child = group->zetNboAttrLogSa( old );
   End< Ufd::Config > other( Side::server, connection.writer.root );
   connection.writer.adapter()->doRemountSelf( other.demuxer->out() );
   EXPECT_FALSE( child->nboAttrLogOut() );
   EXPECT_FALSE( group->zetNboAttrLogSa( old ) );
   EXPECT_FALSE( connection.writer.root->zetNboAttrLogSa( old ) );
   group->minLinksIs( 3 );
   EXPECT_EQ( old->unsentSize() + other.demuxer->out()->unsentSize(), 0u );
   other.announce();
   EXPECT_EQ( recordsIn( { other.demuxer->out()->unsent().begin() + 38,
                           other.demuxer->out()->unsent().end() } ),
              "136 258+ 258 6 258+ 258- 259+ 259- 260 258- 6" );
   // The old connection has no hold on it.
   connection.writer.demuxer = nullptr;
   taken( *other.demuxer );
   group->minLinksIs( 4 );
   EXPECT_EQ( recordsIn( taken( *other.demuxer ) ), "260" );
}

TEST( Attaching, ignoresWhatWasUnderWayWhenItEnded ) {
   Connection< Ufd::Config > connection( Ufd::configFactory( "root" ), 0u );
   connection.reader.root->groupIs( "g" );
   auto const& out = connection.writer.demuxer->out();
   connection.writer.root->zetNboAttrLogSaDel( out );
   EXPECT_TRUE( connection.writer.receive( taken( *connection.reader.demuxer ) ) );
   EXPECT_EQ( stateOf( *connection.writer.root ), "" );
   EXPECT_FALSE( connection.writer.root->zetNboAttrLogSa( out ) );
}

} // namespace

} // namespace Tests
