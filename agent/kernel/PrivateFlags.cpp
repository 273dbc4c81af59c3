#include "agent/kernel/PrivateFlags.h"

#include "agent/base/Descriptor.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <net/if.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace Ufdd {

namespace {

// The states of all flags are the bits of one number.
constexpr std::uint32_t maxFlags = 32;

// A command of ethtool: a header, and room for the data of the answer behind it.
template < class Header, std::size_t dataSize > class Question {
 public:
   explicit Question( std::uint32_t command ) { header().cmd = command; }

   Header& header() { return *reinterpret_cast< Header* >( room_.data() ); }
   char const* data() const { return room_.data() + sizeof( Header ); }

   bool ask( int socket, InterfaceName const& link ) {
      ifreq request{};
      std::memcpy( request.ifr_name, link.view().data(), link.view().size() );
      request.ifr_data = room_.data();
      return ioctl( socket, SIOCETHTOOL, &request ) == 0;
   }

 private:
   alignas( Header ) std::array< char, sizeof( Header ) + dataSize > room_{};
};

} // namespace

std::vector< PrivateFlag >
readPrivateFlags( InterfaceName const& link ) {
   Descriptor const socket( ::socket( AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0 ) );
   Question< ethtool_sset_info, sizeof( std::uint32_t ) > set( ETHTOOL_GSSET_INFO );
   set.header().sset_mask = 1ull << ETH_SS_PRIV_FLAGS;
   if ( !set.ask( socket.fd(), link ) || set.header().sset_mask == 0 )
      return {};
   std::uint32_t count = 0;
   std::memcpy( &count, set.data(), sizeof count );
   if ( count > maxFlags )
      return {};
   Question< ethtool_gstrings, std::size_t{ maxFlags } * ETH_GSTRING_LEN > names(
       ETHTOOL_GSTRINGS );
   names.header().string_set = ETH_SS_PRIV_FLAGS;
   names.header().len = count;
   Question< ethtool_value, 0 > states( ETHTOOL_GPFLAGS );
   if ( !names.ask( socket.fd(), link ) || !states.ask( socket.fd(), link ) )
      return {};
   return privateFlagsOf( { names.data(), std::size_t{ count } * ETH_GSTRING_LEN },
                          states.header().data );
}

std::vector< PrivateFlag >
privateFlagsOf( std::span< char const > names, std::uint32_t states ) {
   std::vector< PrivateFlag > flags;
   for ( ; names.size() >= ETH_GSTRING_LEN; names = names.subspan( ETH_GSTRING_LEN ) ) {
      // A name of full length has no zero byte at its end.
      std::string_view const room( names.data(), ETH_GSTRING_LEN );
      std::string_view const name = room.substr( 0, room.find( '\0' ) );
      flags.push_back( { std::string( name ), ( states & 1 ) != 0 } );
      states >>= 1;
   }
   return flags;
}

bool
staysLit( std::span< PrivateFlag const > flags ) {
   auto const isIt = []( PrivateFlag const& flag ) { return flag.name == darkeningFlag; };
   auto const isDarkening = [ & ]( PrivateFlag const& flag ) {
      return flag.isOn && ( isIt( flag ) || flag.name == "total-port-shutdown" );
   };
   return std::ranges::any_of( flags, isIt ) && std::ranges::none_of( flags, isDarkening );
}

} // namespace Ufdd
