#include "tests/agent/JsonSchema.h"
#include "tests/agent/NetworkTest.h"
#include "tests/agent/TextMatchers.h"

#include <nlohmann/json.hpp>

#include <csignal>
#include <string>
#include <vector>

namespace Ufdd {
namespace {

using Json = nlohmann::json;

class UfdctlTest : public NetworkTest {
 protected:
   // Returns the "event" of each line about groups, with their link status: "state:up removed".
   static std::string events( std::string const& lines ) {
      std::string events;
      for ( std::size_t at = 0, end; ( end = lines.find( '\n', at ) ) != std::string::npos;
            at = end + 1 ) {
         Json const event = Json::parse( lines.substr( at, end - at ) );
         if ( !event.contains( "port" ) )
            events +=
                ( events.empty() ? "" : " " ) + event[ "event" ].get< std::string >() +
                ( event.contains( "linkStatus" ) ? ':' + event[ "linkStatus" ].get< std::string >()
                                                 : "" );
      }
      return events;
   }
};

TEST_F( UfdctlTest, showsAndWatchesAlsoOverARestart ) {
   plug( { "u1", "u2", "d1", "d2" } );
   std::vector< std::string > const way =
       arguments( group( "rack", "'u1'", "'d1'" ) + group( "other", "'u2'", "'d2'" ) );
   EXPECT_EQ( ufdctl( { "show" } ),
              std::pair( "ufdctl: can't reach ufdd at " + socketPath() +
                             ": No such file or directory; start ufdd, or give ufdctl the same "
                             "--socket as ufdd\n",
                         4 ) );
   auto const [ refusal, exitStatus ] = Ufdd::ufdctl( { "--socket", config_->path(), "show" } );
   EXPECT_EQ( exitStatus, 4 );
   EXPECT_THAT( refusal, HasSubstr( "Connection refused; it is not a socket" ) );
   std::optional< ReadyUfdd > ufdd( std::in_place, way );
   EXPECT_THAT( ufdctl( {} ).first, StartsWith( "other  UP  " ) );
   EXPECT_EQ( ufdctl( { "wait", "rack", "up" } ), std::pair( std::string(), 0 ) );
   std::string const waited = ufdctl( { "wait", "rack", "up", "--json" } ).first;
   EXPECT_EQ( ufdctl( { "wait", "rack", "down", "--timeout", "0.1" } ),
              std::pair( std::string( "ufdctl: group rack is up after 0.1 s\n" ), 1 ) );
   std::string objects;
   for ( auto const& [ words, error, status ] :
         std::initializer_list< std::tuple< std::vector< std::string >, std::string, int > >{
             { { "show", "rock" }, "there is no group \"rock\"; did you mean rack?", 2 },
             { { "explain", "u1" },
               "\"u1\" is an uplink, and no group disables it; see \"ufdctl show\"",
               2 },
             { { "--jsn" }, "unknown option \"--jsn\"; did you mean --json?", 64 },
             { { "shwo" }, "unknown command \"shwo\"; did you mean show?", 64 },
             { { "wait", "rack", "upp" }, "STATUS: upp not in {up,down}", 64 },
             { { "explain" }, "PORT is required", 64 } } ) {
      std::string const tail = status == 64 ? "See \"ufdctl --help\".\n" : "";
      EXPECT_EQ( ufdctl( words ), std::pair( "ufdctl: " + error + '\n' + tail, status ) );
      std::vector< std::string > more = words;
      more.emplace_back( "--json" );
      std::string const text = ufdctl( more ).first;
      std::string const object = text.substr( text.rfind( "\n{" ) + 1 );
      objects += object;
      EXPECT_EQ( Json::parse( object )[ "error" ], error );
      EXPECT_EQ( Json::parse( object )[ "exitStatus" ], status );
   }
   EXPECT_EQ( faultsOf( objects ), "" );

   Process watch( { "--socket", socketPath(), "watch", "rack", "--json" }, Process::Rights::all,
                  builtProgram( "ufdctl" ) );
   auto const hasSeen = [ & ]( std::string const& expected ) {
      return eventually( [ & ] { return events( watch.output() ) == expected; } );
   };
   ASSERT_TRUE( hasSeen( "state:up" ) ) << watch.output();
   ip( "link set u2-far down" );
   ip( "link set u1-far down" );
   ASSERT_TRUE( hasSeen( "state:up transition:down" ) ) << watch.output();
   auto const [ text, status ] = ufdctl( { "show", "--json" } );
   EXPECT_EQ( status, 0 );
   Json const shown = Json::parse( text );
   for ( Json const& group : shown[ "groups" ] ) {
      EXPECT_EQ( group[ "linkStatus" ], "down" ) << text;
      EXPECT_EQ( group[ "timesDisabled" ], 1 );
   }
   EXPECT_EQ( ufdctl( { "--check-health", "-1" } ).second, 3 );
   std::string const agent = ufdctl( { "show", "--agent" } ).first;
   EXPECT_THAT( agent, HasSubstr( " 2\nfailed acts " ) );
   EXPECT_EQ( ufdctl( { "what-if", "--down", "u2" } ).second, 0 );
   EXPECT_EQ( ufdctl( { "what-if", "--up", "u1,u2", "--fail-if-shut" } ).second, 0 );
   std::string const explained = ufdctl( { "explain", "d1", "--json" } ).first;
   for ( std::string const& object :
         { text, waited, explained, ufdctl( { "what-if", "--json" } ).first,
           ufdctl( { "describe", "--json" } ).first } )
      EXPECT_EQ( faultsOf( Json::parse( object ).dump() + '\n' ), "" );
   EXPECT_EQ( faultsOf( watch.output() ), "" );
   EXPECT_EQ( Json::parse( explained )[ "port" ][ "condition" ], "shut" ) << explained;

   ufdd->end( SIGKILL );
   ASSERT_TRUE( hasSeen( "state:up transition:down lost" ) ) << watch.output();
   EXPECT_EQ( ufdctl( { "show" } ),
              std::pair( "ufdctl: can't reach ufdd at " + socketPath() +
                             ": Connection refused; ufdd ended without removing it; start "
                             "ufdd\n",
                         4 ) );
   ip( "link set u1-far up" );
   ufdd.emplace( way );
   ASSERT_TRUE( hasSeen( "state:up transition:down lost resync transition:up" ) )
       << watch.output() << ufdd->output();
   Process second( { "--config", config_->path(), "--state-dir", state_.path() + "/other",
                     "--socket", socketPath() } );
   EXPECT_EQ( second.wait(), 1 );
   EXPECT_TRUE( second.wrote( "another ufdd is running and serves " + socketPath() ) )
       << second.output();
   ip( "link set u1-far down" );
   ASSERT_TRUE( hasSeen( "state:up transition:down lost resync transition:up transition:down" ) )
       << watch.output();
   EXPECT_EQ( ufdd->end( SIGTERM ), 0 );
   EXPECT_FALSE( std::filesystem::exists( socketPath() ) );
}

TEST_F( UfdctlTest, failsIfItCannotWriteItsOutput ) {
   plug( { "u1", "d1" } );
   ReadyUfdd const ufdd( arguments( group( "a", "'u1'", "'d1'" ) ) );
   for ( std::string const word : { "show", "watch", "describe" } )
      // If standard output is closed, the socket must not get its number.
      for ( std::string const output : { " >/dev/full", " >&-" } ) {
         std::string const command =
             "exec " + builtProgram( "ufdctl" ) + " --socket " + socketPath() + " " + word + output;
         Process full( { "-c", command }, Process::Rights::all, "/bin/sh" );
         EXPECT_TRUE( eventually( [ & ] { return full.hasEnded(); } ) ) << command;
         EXPECT_EQ( full.end( SIGTERM ), 1 ) << command;
         EXPECT_EQ( full.output(), "ufdctl: can't write to standard output; see whether the disk "
                                   "is full or the reader has ended\n" );
      }
}

} // namespace
} // namespace Ufdd
