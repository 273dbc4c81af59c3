#include "tests/agent/NetworkTest.h"
#include "tests/agent/Tap.h"

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

namespace Ufdd {
namespace {

using namespace std::chrono_literals;

// Two groups with a port each. The kernel may delay messages about the losses of their uplinks.
class CarrierTest : public NetworkTest {
 protected:
   void SetUp() override {
      NetworkTest::SetUp();
      if ( IsSkipped() )
         return;
      try {
         u1.emplace( "u1" );
         u2.emplace( "u2" );
      } catch ( std::system_error const& error ) {
         GTEST_SKIP() << error.what();
      }
      plug( { "d1", "d2" } );
      ip( "link set u1 up" );
      ip( "link set u2 up" );
   }
   std::string config( std::string const& firstLines = {} ) {
      return firstLines + group( "a", "'u1'", "'d1'" ) + group( "b", "'u2'", "'d2'" );
   }
   // Returns how long it takes until the port's neighbour has lost its carrier.
   static std::chrono::milliseconds timeToLoss( std::string const& port ) {
      auto const begin = std::chrono::steady_clock::now();
      while ( hasLink( port + "-far" ) && std::chrono::steady_clock::now() - begin < 3s )
         std::this_thread::sleep_for( 100us );
      return std::chrono::duration_cast< std::chrono::milliseconds >(
          std::chrono::steady_clock::now() - begin );
   }
   // Returns the number of times that the process has gone to sleep, as the kernel writes it.
   static std::string waits( Process const& ufdd ) {
      std::ifstream status( "/proc/" + std::to_string( ufdd.pid() ) + "/status" );
      std::string line;
      while ( std::getline( status, line ) && !line.starts_with( "voluntary_ctxt_switches" ) ) {
      }
      return line;
   }

   std::optional< Tap > u1;
   std::optional< Tap > u2;
};

// The kernel delays the message for the rest of the second after the first loss and our own act.
constexpr auto longBeforeTheKernelTells = 500ms;

TEST_F( CarrierTest, lossThatTheKernelDelaysIsFoundAtOnce ) {
   ReadyUfdd ufdd( arguments( config() ) );
   for ( auto const gap : { 10ms, 50ms, 300ms } ) {
      std::this_thread::sleep_for( 1200ms );
      u1->carrierIs( false );
      ASSERT_LT( timeToLoss( "d1" ), 3s ) << ufdd.output();
      std::this_thread::sleep_for( gap );
      u2->carrierIs( false );
      EXPECT_LT( timeToLoss( "d2" ), longBeforeTheKernelTells ) << ufdd.output();
      u1->carrierIs( true );
      u2->carrierIs( true );
      ASSERT_TRUE( haveLink( { "d1-far", "d2-far" }, true ) ) << ufdd.output();
   }
   // A loss that ends before the kernel sends its message.
   u1->carrierIs( false );
   EXPECT_LT( timeToLoss( "d1" ), longBeforeTheKernelTells ) << ufdd.output();
   u1->carrierIs( true );
   ASSERT_TRUE( haveLink( { "d1-far" }, true ) ) << ufdd.output();
}

TEST_F( CarrierTest, queriesEndWhenNothingHappens ) {
   ReadyUfdd ufdd( arguments( config( "detection = \"verify\"\n" ) ) );
   std::string const before = waits( ufdd );
   std::this_thread::sleep_for( 1500ms );
   std::string const idle = waits( ufdd );
   EXPECT_NE( before, idle ) << "ufdd queries after its own start";
   std::this_thread::sleep_for( 300ms );
   EXPECT_EQ( waits( ufdd ), idle );
}

// Messages in another network namespace make the kernel delay messages in ours.
TEST_F( CarrierTest, autoAndPollNeedNoMessageInTheirOwnNamespace ) {
   std::optional< Tap > elsewhere;
   std::thread( [ & ] {
      if ( unshare( CLONE_NEWNET ) == 0 ) {
         elsewhere.emplace( "u9" );
         ip( "link set u9 up" );
      }
   } ).join();
   ASSERT_TRUE( elsewhere );
   for ( char const* const detection : { "", "detection = \"poll\"\n" } ) {
      ReadyUfdd ufdd( arguments( config( detection ) ) );
      std::this_thread::sleep_for( 1500ms );
      elsewhere->carrierIs( false );
      std::this_thread::sleep_for( 50ms );
      u1->carrierIs( false );
      EXPECT_LT( timeToLoss( "d1" ), longBeforeTheKernelTells ) << ufdd.output();
      elsewhere->carrierIs( true );
      u1->carrierIs( true );
      EXPECT_EQ( ufdd.end( SIGTERM ), 0 );
   }
}

} // namespace
} // namespace Ufdd
