#include "agent/kernel/LinkFeed.h"

#include "platform/zet/Clock.h"
#include "tests/agent/LinkDatagram.h"

#include <gtest/gtest.h>

#include <string>
#include <system_error>

namespace Ufdd {
namespace {

constexpr std::uint32_t dumpSequence = 7;
constexpr unsigned int allUp = unsigned{ IFF_UP } | unsigned{ IFF_LOWER_UP };

// A datagram of a dump or of messages.
struct Datagram : LinkDatagram {
   Datagram& link( std::uint16_t type, int index, std::string const& name, unsigned int flags,
                   unsigned char family = AF_UNSPEC ) {
      add( type, 0, 0, [ & ]( LinkMessage message ) {
         message.info->ifi_family = family;
         message.info->ifi_index = index;
         message.info->ifi_flags = flags;
         mnl_attr_put_strz( message.header, IFLA_IFNAME, name.c_str() );
      } );
      return *this;
   }
   Datagram& listed( int index, std::string const& name ) {
      link( RTM_NEWLINK, index, name, allUp );
      last()->nlmsg_seq = dumpSequence;
      last()->nlmsg_flags = NLM_F_MULTI;
      return *this;
   }
   Datagram& done() {
      LinkDatagram::done( dumpSequence );
      return *this;
   }
};

class LinkFeedTest : public testing::Test, public LinkListener {
 protected:
   void handleLinks( std::span< Link const > links ) override {
      heard += "[";
      for ( Link const& link : links )
         handleLink( link );
      heard += " ]";
   }
   void handleLink( Link const& link ) override {
      say( link.index, link.name.view() );
      heard += link.adminUp && link.carrier ? '+' : link.adminUp ? '~' : '-';
   }
   void handleLinkGone( std::uint32_t index ) override { say( index, "gone" ); }
   void say( std::uint32_t index, std::string_view what ) {
      heard.append( " " ).append( std::to_string( index ) ).append( ":" ).append( what );
   }

   void receive( LinkDatagram const& datagram, std::uint32_t sender = 0 ) {
      feed.handleDatagram( sender, datagram.bytes );
   }
   void refuse( int error ) {
      receive( Datagram().add( NLMSG_ERROR, 0, dumpSequence, [ & ]( LinkMessage message ) {
         *reinterpret_cast< int* >( message.info ) = -error;
      } ) );
   }
   void start() {
      feed.handleDumpAsked( dumpSequence );
      receive( Datagram().done() );
      heard.clear();
   }

   LinkFeed feed{ *this };
   std::string heard;
};

TEST_F( LinkFeedTest, lastStateDuringADumpCounts ) {
   receive( Datagram().link( RTM_NEWLINK, 1, "early", allUp ) );
   ASSERT_TRUE( feed.dumpWanted() );
   feed.handleDumpAsked( dumpSequence );
   receive( Datagram().listed( 5, "e5" ).listed( 2, "e2" ).listed( 3, "e3" ) );
   receive( Datagram().link( RTM_NEWLINK, 5, "e5", IFF_UP ) );
   receive( Datagram().link( RTM_DELLINK, 2, "e2", 0 ).link( RTM_NEWLINK, 9, "e9", 0 ) );
   EXPECT_EQ( heard, "" );
   receive( Datagram().done() );
   EXPECT_EQ( heard, "[ 3:e3+ 5:e5~ 9:e9- ]" );
   EXPECT_TRUE( feed.complete() );
}

TEST_F( LinkFeedTest, endOfAnotherDumpMeansThatTheAnswerWasLost ) {
   feed.handleDumpAsked( dumpSequence + 1 );
   receive( Datagram().done() );
   EXPECT_FALSE( feed.dumpWanted() || feed.complete() );
   feed.handleLoss();
   receive( Datagram().done() );
   EXPECT_TRUE( feed.dumpWanted() ) << "the answer to the request was lost";
}

TEST_F( LinkFeedTest, onlyWholeLinkMessagesOfTheKernelCount ) {
   start();
   receive( Datagram().link( RTM_NEWLINK, 4, "e4", 0 ), 4711 );
   receive( Datagram().link( RTM_DELLINK, 4, "e4", allUp, AF_BRIDGE ) );
   receive( Datagram().add( RTM_NEWLINK, 0, 0, []( LinkMessage event ) {
      event.info->ifi_index = 4;
      mnl_attr_put_strz( event.header, IFLA_IFNAME, "e4" );
      mnl_attr_put_u32( event.header, IFLA_WIRELESS, 0 );
   } ) );
   EXPECT_EQ( heard, "" );
   Datagram cut = Datagram().link( RTM_NEWLINK, 4, "e4", IFF_LOWER_UP );
   cut.link( RTM_DELLINK, 5, "e5", 0 ).bytes.resize( cut.bytes.size() - 4 );
   receive( cut );
   EXPECT_EQ( heard, " 4:e4-" );
   EXPECT_TRUE( feed.dumpWanted() );
}

TEST_F( LinkFeedTest, refusedDumpIsRepeatedOrAnError ) {
   for ( int const passing : { ENOBUFS, EBUSY } ) {
      feed.handleDumpAsked( dumpSequence );
      refuse( passing );
      EXPECT_TRUE( feed.dumpWanted() );
   }
   for ( int refusals = 1; refusals < LinkFeed::maxRefusals; ++refusals ) {
      feed.handleDumpAsked( dumpSequence );
      refuse( EPERM );
      EXPECT_FALSE( feed.dumpWanted() ) << "for a while";
   }
   EXPECT_NE( feed.takeTrouble().find( "not permitted" ), std::string::npos );
   feed.handleDumpAsked( dumpSequence );
   EXPECT_THROW( refuse( EPERM ), std::system_error );
}

TEST_F( LinkFeedTest, dumpWithoutProgressIsRepeated ) {
   static double now = 0;
   Zet::clockIs( [] { return now; } );
   feed.handleDumpAsked( dumpSequence );
   for ( int part = 0; part < 3; ++part, now += 0.9 * LinkFeed::dumpPatience ) {
      EXPECT_FALSE( feed.takeOverdueDump() );
      receive( Datagram().listed( 5, "e5" ) );
   }
   now += 0.2 * LinkFeed::dumpPatience;
   receive( Datagram().link( RTM_NEWLINK, 5, "e5", allUp ) );
   EXPECT_TRUE( feed.takeOverdueDump() && feed.dumpWanted() );
   EXPECT_FALSE( feed.takeOverdueDump() );
   Zet::clockIs( nullptr );
}

} // namespace
} // namespace Ufdd
