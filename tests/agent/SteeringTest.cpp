#include "agent/base/UnixSocket.h"
#include "tests/agent/JsonSchema.h"
#include "tests/agent/NetworkTest.h"

#include <nlohmann/json.hpp>

#include <csignal>
#include <deque>
#include <string>
#include <vector>

namespace Ufdd {
namespace {

using Json = nlohmann::json;
using Words = std::vector< std::string >;

// A ufdd that is steered by ufdctl.
class SteeringTest : public NetworkTest {
 protected:
   // Runs ufdctl with --json. Returns which ports it moves: "+opened -shut"; or what it says and
   // its exit status.
   std::string moved( Words words ) const {
      words.push_back( "--json" );
      auto const [ output, status ] = ufdctl( words );
      if ( status != 0 )
         return output + std::to_string( status );
      Json const object = Json::parse( output );
      EXPECT_EQ( faultsOf( object.dump() + '\n' ), "" );
      EXPECT_EQ( object[ "command" ], words[ 0 ] );
      std::string moves;
      for ( auto const& [ key, sign ] : { std::pair( "open", " +" ), { "shut", " -" } } )
         for ( Json const& port : object[ key ] )
            moves += sign + port.get< std::string >();
      return moves;
   }
   // In JSON, whose texts are not broken into lines.
   std::string shown() const { return ufdctl( { "show", "--json" } ).first; }
   bool isShown( std::string const& text ) const {
      return shown().find( text ) != std::string::npos;
   }
};

TEST_F( SteeringTest, ordersOutliveACrash ) {
   plug( { "u1", "u2", "d1", "d2", "d3" } );
   Words const way =
       arguments( group( "rack", "'u1'", "'d1', 'd2'" ) + group( "row", "'u2'", "'d2', 'd3'" ) );
   std::optional< ReadyUfdd > ufdd( std::in_place, way );
   EXPECT_EQ( moved( { "down", "d1", "--dry-run" } ), " -d1" );
   EXPECT_TRUE( hasLink( "d1-far" ) );
   EXPECT_EQ( moved( { "down", "d1", "row", "--reason", "new cable" } ), " -d1 -d2 -d3" );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, false ) );
   EXPECT_EQ( moved( { "clear", "d1" } ).substr( 0, 8 ), "ufdctl: " );
   EXPECT_EQ( ufdctl( { "auto", "d11" } ).second, 2 );
   EXPECT_EQ( ufdctl( { "auto", "d1", "--for", "2h" } ).second, 64 );

   ufdd->end( SIGKILL );
   ufdd.emplace( way );
   EXPECT_TRUE( isShown( "new cable" ) ) << shown();
   EXPECT_FALSE( hasLink( "d1-far" ) || hasLink( "d3-far" ) );
   EXPECT_EQ( moved( { "auto", "row", "d1" } ), " +d1 +d2 +d3" );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far", "d3-far" }, true ) );

   ip( "link set u1-far down" );
   EXPECT_TRUE( haveLink( { "d1-far", "d2-far" }, false ) );
   EXPECT_EQ( moved( { "clear", "d1" } ), " +d1" );
   EXPECT_EQ( moved( { "down", "d3", "--for", "1s" } ), " -d3" );
   EXPECT_TRUE( haveLink( { "d3-far" }, true ) ) << ufdd->output();
   EXPECT_EQ( ufdd->end( SIGTERM ), 0 );
   EXPECT_EQ( ufdctl( { "auto", "d1" } ).second, 4 );
}

TEST_F( SteeringTest, bringsBackWhatNobodyConfirms ) {
   plug( { "u1", "d1", "d2", "d3" } );
   std::string const former = group( "rack", "'u1'", "'d1'" );
   std::string const withRow = former + group( "row", "'u1'", "'d3'" );
   std::string const next = group( "rack", "'u1'", "'d1', 'd2'" );
   Words const way = arguments( withRow );
   std::optional< ReadyUfdd > ufdd( std::in_place, way );
   ip( "link set u1-far down" );
   ASSERT_TRUE( haveLink( { "d1-far" }, false ) );
   EXPECT_EQ( ufdctl( { "confirm" } ).first, "ufdctl: no configuration waits to be confirmed\n" );
   EXPECT_EQ( moved( { "disable", "row" } ), " +d3" );
   rewrite( next );
   EXPECT_EQ( moved( { "reload", "--dry-run" } ), " -d2" );
   EXPECT_EQ( moved( { "reload", "--confirm", "1m" } ), " -d2" );
   EXPECT_TRUE( isShown( " is not confirmed: the former configuration comes back in " ) )
       << shown();
   // A reload that needs no confirmation confirms nothing.
   ufdd->signal( SIGHUP );
   EXPECT_TRUE( eventually( [ & ] { return ufdd->count( "configuration loaded" ) == 2; } ) );
   ufdd->end( SIGKILL );
   ufdd.emplace( way );
   EXPECT_FALSE( hasLink( "d2-far" ) ) << "in force until the time has run out";
   rewrite( withRow );
   EXPECT_EQ( moved( { "reload" } ), " +d2" );
   EXPECT_TRUE( isShown( R"("mode": "disabled")" ) )
       << "orders come back with their group" << shown();
   rewrite( next );
   EXPECT_EQ( moved( { "reload" } ), " -d2" );
   EXPECT_EQ( moved( { "confirm" } ), "" );
   EXPECT_FALSE( std::filesystem::exists( state_.path() + "/former" ) );

   rewrite( former );
   EXPECT_EQ( moved( { "reload", "--confirm", "1s" } ), " +d2" );
   EXPECT_TRUE( haveLink( { "d2-far" }, false ) ) << ufdd->output();
   EXPECT_TRUE( isShown( "nobody confirmed it in time" ) ) << shown();
   EXPECT_EQ( moved( { "confirm" } ).substr( 0, 23 ), "ufdctl: it is too late:" );
   EXPECT_EQ( moved( { "reload" } ), " +d2" ) << "the file counts again once it is read";
   EXPECT_FALSE( isShown( "it in time" ) );

   // The time runs out while ufdd is down, and the file has errors by then.
   rewrite( next );
   EXPECT_EQ( moved( { "reload", "--confirm", "1s" } ), " -d2" );
   rewrite( "nonsense" );
   ufdd->end( SIGKILL );
   ufdd.emplace( way );
   EXPECT_TRUE( haveLink( { "d2-far" }, true ) ) << ufdd->output();
   EXPECT_TRUE( ufdd->writes( "the former configuration is in force, not " ) ) << ufdd->output();
   EXPECT_EQ( ufdctl( { "reload" } ).second, 1 );
}

TEST_F( SteeringTest, keepsAPortShutForACheckOverACrash ) {
   plug( { "u1", "d1" } );
   Words const way = arguments( group( "rack", "'u1'", "'d1'" ) +
                                "[[check]]\nname = 'bfd'\nkind = 'reported'\nuplinks = [ 'u1' ]\n"
                                "rise = 1\nttl = 60\n" );
   std::optional< ReadyUfdd > ufdd( std::in_place, way );
   for ( int i = 0; i < 3; ++i )
      EXPECT_EQ( ufdctl( { "report", "bfd", "down", "--reason", "Down" } ).second, 0 );
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   EXPECT_TRUE( ufdd->writes( "u1 check bfd failed: Down, 3 in a row" ) ) << ufdd->output();
   EXPECT_TRUE( isShown( "check bfd failed: Down, 3 in a row" ) ) << shown();
   EXPECT_EQ( faultsOf( Json::parse( shown() ).dump() + '\n' ), "" );
   std::uint32_t const before = transitions( "d1-far" );
   ufdd->end( SIGKILL );
   ufdd.emplace( way );
   EXPECT_EQ( ufdctl( { "report", "bfb", "up" } ).second, 2 );
   EXPECT_EQ( ufdctl( { "report", "bfd", "up", "--reason", "a\x01" } ).second, 64 );
   EXPECT_EQ( ufdctl( { "report", std::string( 5000, 'b' ), "up" } ).second, 64 );
   EXPECT_EQ( transitions( "d1-far" ), before );
   EXPECT_EQ( ufdctl( { "report", "bfd", "up" } ).second, 0 );
   EXPECT_TRUE( haveLink( { "d1-far" }, true ) );
}

TEST_F( SteeringTest, detectsFailuresWhateverComesOverTheSocket ) {
   plug( { "u1", "d1" } );
   ReadyUfdd const ufdd( arguments( group( "rack", "'u1'", "'d1'" ) ) );
   std::deque< Descriptor > strangers;
   for ( int i = 0; i < 100; ++i ) {
      Descriptor& stream = strangers.emplace_back( unixStreamTo( state_.path() + "/control" ) );
      std::string const text( 100 * static_cast< std::size_t >( i ), 'x' );
      send( stream.fd(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
   }
   ip( "link set u1-far down" );
   auto const start = std::chrono::steady_clock::now();
   EXPECT_TRUE( haveLink( { "d1-far" }, false ) );
   EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::milliseconds( 500 ) );
   EXPECT_TRUE( eventually( [ & ] { return moved( { "disable", "rack" } ) == " +d1"; } ) );
   Process const other( { "--config", config_->path(), "--state-dir", state_.path() + "/b",
                          "--socket", state_.path() + "/b/status", "--admin-group",
                          "no-such-one" } );
   EXPECT_TRUE( eventually( [ & ] { return other.hasEnded(); } ) );
   EXPECT_TRUE( other.wrote( "there is no group \"no-such-one\"; make it (groupadd --system" ) )
       << other.output();
}

} // namespace
} // namespace Ufdd
