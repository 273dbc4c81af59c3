#include "tests/agent/ForkedProcess.h"
#include "tests/attrlog/Connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <initializer_list>
#include <poll.h>
#include <span>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Ufdd {
namespace {

using Tests::Side;
using Tests::stateOf;
using UplinkFailureDetection::Config;
using Zet::NboAttrLog::Demuxer;

// One end of a connection between processes.
struct Line {
   Descriptor const& socket;
   Demuxer& demuxer;

   bool send() const {
      demuxer.handleRoom();
      for ( auto bytes = demuxer.out()->unsent(); !bytes.empty();
            bytes = demuxer.out()->unsent() ) {
         ssize_t const size = ::send( socket.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
         if ( size < 0 )
            return false;
         demuxer.out()->sentIs( static_cast< std::size_t >( size ) );
         demuxer.handleRoom();
      }
      return true;
   }
   // Few bytes at a time, so that records arrive in pieces.
   bool receive() const {
      std::array< unsigned char, 37 > bytes;
      ssize_t const size = recv( socket.fd(), bytes.data(), bytes.size(), 0 );
      return size > 0 && demuxer.in()->receive(
                             std::span( bytes ).first( static_cast< std::size_t >( size ) ) );
   }
};

// Moves what comes on any of the lines, and what that has others write, until `done` says so. False
// when a line ends before, or nothing comes any more.
template < class Done >
bool
move( std::initializer_list< Line > lines, Done done ) {
   while ( !done() ) {
      std::vector< pollfd > readable;
      for ( Line const& line : lines )
         if ( !line.send() )
            return false;
      for ( Line const& line : lines )
         readable.push_back( { line.socket.fd(), POLLIN, 0 } );
      if ( poll( readable.data(), readable.size(), 5000 ) == 0 )
         return false;
      std::size_t place = 0;
      for ( Line const& line : lines )
         if ( readable[ place++ ].revents != 0 && !line.receive() )
            return false;
   }
   return true;
}

// A replica of the configuration, which waits for its announcement.
struct Replica : Tests::End< Config > {
   Replica() : End( Side::client, Zet::make< Config >( "config" ) ) {
      demuxer->out()->helloIs( Zet::TypeId( "" ) );
   }
};

// The replica of a replica, in a third process, is what the first process has.
TEST( Relay, passesAConfigOnToAThirdProcess ) {
   SocketPair first;
   SocketPair second;
   SocketPair report;
   auto const closeAll = []( std::initializer_list< Descriptor* > sockets ) {
      for ( Descriptor* const socket : sockets )
         *socket = Descriptor();
   };
   ForkedProcess relay( [ & ] {
      Replica source;
      Tests::End< Config > copy( Side::server, source.root );
      copy.announce();
      Line const in{ first.far, *source.demuxer };
      Line const out{ second.near, *copy.demuxer };
      closeAll( { &first.near, &second.far, &report.near, &report.far } );
      move( { in, out }, [] { return false; } );
      return source.error().empty() && copy.error().empty();
   } );
   ForkedProcess last( [ & ] {
      Replica replica;
      closeAll( { &first.near, &first.far, &second.near, &report.near } );
      bool const told = move( { Line{ second.far, *replica.demuxer } },
                              [ & ] { return replica.root->group( "the end" ) != nullptr; } );
      std::string const text = stateOf( *replica.root ) + replica.error();
      return send( report.far.fd(), text.data(), text.size(), 0 ) > 0 && told;
   } );
   closeAll( { &first.far, &second.near, &second.far, &report.far } );

   Tests::End< Config > writer( Side::server, Zet::make< Config >( "config" ) );
   Line const line{ first.near, *writer.demuxer };
   Config& config = *writer.root;
   config.groupIs( "before" )->minLinksIs( 2 );
   config.groupIs( "gone" );
   writer.announce();
   EXPECT_TRUE( line.send() );
   for ( int i = 0; i < 300; ++i ) {
      auto const group = config.groupIs( "group" + std::to_string( i % 50 ) );
      group->minLinksIs( static_cast< unsigned int >( i ) );
      group->intfsToMonitorIs( Tests::intf( ( "u" + std::to_string( i % 7 ) ).c_str() ),
                               i % 2 == 0 );
      group->intfsToDisableIs( Tests::intf( "d" ), true );
      if ( i % 3 == 0 )
         config.groupDel( "group" + std::to_string( i % 20 ) );
      EXPECT_TRUE( line.send() );
   }
   config.groupDel( "gone" );
   config.group( "before" )->intfsToDisableIs( Tests::intf( "d" ), true );
   config.groupIs( "the end" );
   EXPECT_TRUE( line.send() );

   std::string text( 1 << 16, '\0' );
   ssize_t const size = recv( report.near.fd(), text.data(), text.size(), 0 );
   text.resize( static_cast< std::size_t >( std::max( size, ssize_t() ) ) );
   EXPECT_EQ( last.wait(), 0 );
   EXPECT_EQ( text, stateOf( config ) );
   closeAll( { &first.near } );
   EXPECT_EQ( relay.wait(), 0 );
}

} // namespace
} // namespace Ufdd
