#include "tests/agent/Process.h"

#include <gtest/gtest.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>

namespace Ufdd {
namespace {

// Runs `body` in a network namespace of its own, which goes with it. The error when none can be
// made.
int
inPrivateNetwork( std::function< void() > const& body ) {
   int error = 0;
   std::thread( [ & ] {
      if ( unshare( CLONE_NEWNET ) == 0 )
         body();
      else
         error = errno;
   } ).join();
   return error;
}

void
ip( std::string const& arguments ) {
   ASSERT_EQ( std::system( ( "ip " + arguments ).c_str() ), 0 ) << "ip " << arguments;
}

// A cable between an interface of ours and its neighbour's, "u1" and "u1-far".
void
plug( std::string const& name ) {
   ip( "link add " + name + " type veth peer name " + name + "-far" );
   ip( "link set " + name + " up" );
   ip( "link set " + name + "-far up" );
}

// As the driver says at once: all that the neighbour sees of our port.
bool
hasLink( std::string const& name ) {
   int const fd = socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
   ethtool_value link{ ETHTOOL_GLINK, 0 };
   ifreq request{};
   std::strncpy( request.ifr_name, name.c_str(), IFNAMSIZ - 1 );
   request.ifr_data = reinterpret_cast< char* >( &link );
   int const result = ioctl( fd, SIOCETHTOOL, &request );
   close( fd );
   return result == 0 && link.data != 0;
}

bool
farEndsHaveLink( bool link ) {
   return eventually(
       [ link ] { return hasLink( "d1-far" ) == link && hasLink( "d2-far" ) == link; } );
}

void
shutAndRelease() {
   for ( char const* const name : { "u1", "u2", "d1", "d2", "d3" } )
      plug( name );
   ip( "link set d3 down" );
   TextFile const config( "[[group]]\nname = \"rack\"\nmonitor = [ \"u1\", \"u2\" ]\n"
                          "disable = [ \"d1\", \"d2\", \"d3\" ]\n" );
   Process ufdd( { "--config", config.path() } );
   ASSERT_TRUE( eventually( [ & ] { return ufdd.wrote( "watching 1 group" ); } ) ) << ufdd.output();

   ip( "link set u1-far down" );
   ip( "link set u2-far down" );
   ASSERT_TRUE( farEndsHaveLink( false ) ) << ufdd.output();
   ip( "link set u1-far up" );
   ASSERT_TRUE( farEndsHaveLink( true ) ) << ufdd.output();
   EXPECT_FALSE( hasLink( "d3-far" ) ) << "shut by its administrator, not by ufdd";

   ip( "link del u1" );
   ASSERT_TRUE( farEndsHaveLink( false ) ) << ufdd.output();
   ip( "link set d1 up" );
   ASSERT_TRUE( eventually( [ & ] { return ufdd.wrote( "port d1 shut again" ); } ) );
   ip( "link del d2" );
   plug( "d2" );
   ASSERT_TRUE( farEndsHaveLink( false ) ) << ufdd.output();

   ufdd.signal( SIGTERM );
   EXPECT_EQ( ufdd.wait(), 0 );
   EXPECT_TRUE( farEndsHaveLink( true ) ) << ufdd.output();
   EXPECT_FALSE( hasLink( "d3-far" ) );
}

TEST( Kernel, portsAreShutAndReleased ) {
   if ( int const error = inPrivateNetwork( shutAndRelease ) )
      GTEST_SKIP() << "no network namespace can be made: " << std::strerror( error );
}

} // namespace
} // namespace Ufdd
