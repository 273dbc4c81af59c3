#pragma once

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/NetlinkLinkControl.h"
#include "agent/kernel/NetlinkSocket.h"
#include "tests/agent/Process.h"

#include <gtest/gtest.h>
#include <libmnl/libmnl.h>
#include <linux/ethtool.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <net/if.h>
#include <optional>
#include <sched.h>
#include <span>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <utility>
#include <vector>

namespace Ufdd {

// A test with ufdd on interfaces of the real kernel, in a network namespace of its own.
class NetworkTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( unshare( CLONE_NEWNET ) != 0 )
         GTEST_SKIP() << "no network namespace can be made: " << std::strerror( errno );
   }

   static void ip( std::string const& arguments ) {
      ASSERT_EQ( std::system( ( "ip " + arguments ).c_str() ), 0 ) << "ip " << arguments;
   }
   // Makes a cable between an interface and its neighbour's: "u1" and "u1-far".
   static void plug( std::string const& name ) {
      ip( "link add " + name + " type veth peer name " + name + "-far" );
      ip( "link set " + name + " up" );
      ip( "link set " + name + "-far up" );
   }
   static void plug( std::initializer_list< char const* > names ) {
      for ( std::string const name : names )
         plug( name );
   }

   // Sets an interface up or down, faster than ip().
   static void set( std::string const& name, bool up ) {
      LinkRequest request{ .index = if_nametoindex( name.c_str() ), .up = up };
      NetlinkLinkControl().apply( { &request, 1 } );
      ASSERT_EQ( request.error, 0 ) << name;
   }

   // Returns true if the interface has carrier, as its driver says without delay.
   static bool hasLink( std::string const& name ) {
      int const fd = socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
      ethtool_value link{ ETHTOOL_GLINK, 0 };
      ifreq request{};
      std::strncpy( request.ifr_name, name.c_str(), IFNAMSIZ - 1 );
      request.ifr_data = reinterpret_cast< char* >( &link );
      int const result = ioctl( fd, SIOCETHTOOL, &request );
      close( fd );
      return result == 0 && link.data != 0;
   }
   // Waits until the kernel has worked off the changes of that link's carrier, which is `up` now:
   // it sends its messages about them only then.
   static bool isWorkedOff( std::string const& name, bool up ) {
      int const fd = socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
      ifreq request{};
      std::strncpy( request.ifr_name, name.c_str(), IFNAMSIZ - 1 );
      bool const isDone = eventually( [ & ] {
         return ioctl( fd, SIOCGIFFLAGS, &request ) == 0 &&
                ( ( request.ifr_flags & IFF_RUNNING ) != 0 ) == up;
      } );
      close( fd );
      return isDone;
   }
   static bool haveLink( std::vector< std::string > const& names, bool link ) {
      return eventually( [ & ] {
         bool all = true;
         for ( std::string const& name : names )
            all &= hasLink( name ) == link;
         return all;
      } );
   }
   // Returns the number of times that the interface has gained or lost its carrier.
   static std::uint32_t transitions( std::string const& name ) {
      NetlinkSocket socket;
      alignas( nlmsghdr ) std::array< std::byte, 64 > room{};
      LinkMessage const query = beginLinkMessage( room.data(), RTM_GETLINK, NLM_F_REQUEST, 1 );
      query.info->ifi_index = static_cast< int >( if_nametoindex( name.c_str() ) );
      socket.send( std::span( room ).first( query.header->nlmsg_len ) );
      auto const answer = socket.receive( 1000 );
      std::uint32_t count = 0;
      auto const find = []( nlattr const* attribute, void* data ) {
         if ( mnl_attr_get_type( attribute ) == IFLA_CARRIER_CHANGES )
            *static_cast< std::uint32_t* >( data ) = mnl_attr_get_u32( attribute );
         return MNL_CB_OK;
      };
      if ( answer )
         mnl_attr_parse( reinterpret_cast< nlmsghdr const* >( answer->bytes.data() ),
                         sizeof( ifinfomsg ), find, &count );
      return count;
   }

   // Writes the configuration to config_ and returns the arguments of a ufdd that uses it. There is
   // no startup_hold unless the configuration says so.
   std::vector< std::string > arguments( std::string const& config ) {
      config_.emplace( withoutHold( config ) );
      return {
         "--config", config_->path(), "--state-dir", state_.path(), "--socket", socketPath()
      };
   }
   std::string socketPath() const { return state_.path() + "/status"; }
   // Has ufdctl ask the ufdd of arguments().
   std::pair< std::string, int > ufdctl( std::vector< std::string > words ) const {
      words.insert( words.begin(), { "--socket", socketPath() } );
      return Ufdd::ufdctl( std::move( words ) );
   }
   // Returns a [[group]] whose ports are opened as soon as it is up. The lists have their names in
   // quotes: group( "a", "'u1', 'u2'", "'d1'" ).
   static std::string group( std::string const& name, std::string const& monitor,
                             std::string const& disable ) {
      return "[[group]]\nname = \"" + name + "\"\nmonitor = [ " + monitor + " ]\ndisable = [ " +
             disable + " ]\nrecovery_delay = 0\n";
   }
   static std::string withoutHold( std::string const& config ) {
      bool const isSet = config.find( "startup_hold" ) != config.npos;
      return isSet ? config : "startup_hold = 0\n" + config;
   }
   // Replaces the configuration at once, so that nobody reads half of it.
   void rewrite( std::string const& config ) const {
      std::string const next = config_->path() + ".next";
      std::ofstream( next ) << withoutHold( config );
      std::filesystem::rename( next, config_->path() );
   }
   void reload( Process const& ufdd, std::string const& config ) const {
      rewrite( config );
      ufdd.signal( SIGHUP );
   }

   // Returns a path of another network namespace, always the same, for the ip command.
   std::string otherNamespace() {
      if ( otherFd_ < 0 )
         std::thread( [ this ] {
            if ( unshare( CLONE_NEWNET ) == 0 )
               otherFd_ = open( "/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC );
         } ).join();
      return "/proc/" + std::to_string( getpid() ) + "/fd/" + std::to_string( otherFd_ );
   }
   // Returns a command that renames an interface. Before Linux 6.2 the interface must be down.
   static std::string renaming( std::string const& from, std::string const& to ) {
      std::string const act = "ip link set " + from + " name " + to;
      return act + " 2>/dev/null || { ip link set " + from + " down && " + act +
             " && ip link set " + to + " up; }";
   }
   // Returns a command that moves an interface back from otherNamespace().
   std::string fetch( std::string const& name ) {
      return "nsenter --net=" + otherNamespace() + " ip link set " + name + " netns " +
             std::to_string( getpid() );
   }
   ~NetworkTest() override {
      if ( otherFd_ >= 0 )
         close( otherFd_ );
   }

   Directory const state_;
   int otherFd_ = -1;
   std::optional< TextFile > config_;
};

// A ufdd that has started: it watches its groups.
struct ReadyUfdd : Process {
   explicit ReadyUfdd( std::vector< std::string > const& arguments ) : Process( arguments ) {
      EXPECT_TRUE( writes( "watching " ) ) << output();
   }
};

} // namespace Ufdd
