#include "agent/kernel/NetlinkNeighbours.h"

#include "agent/kernel/LinkMessage.h"

#include <libmnl/libmnl.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Ufdd {

namespace {

constexpr std::uint16_t hasAddress = NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE;
// An entry that was asked gets there by an answer alone; later it becomes STALE.
constexpr std::uint16_t answered = NUD_REACHABLE | NUD_STALE | NUD_DELAY;
constexpr std::uint16_t neverAsked = NUD_PERMANENT | NUD_NOARP;
// What the kernel clears unless a change repeats it.
constexpr std::uint8_t keptFlags = NTF_EXT_LEARNED | NTF_ROUTER;
constexpr std::uint16_t furtherFlagsAttribute = 15; // NDA_FLAGS_EXT, newer than some headers.

using Room = std::array< std::byte, 128 >;

nlmsghdr*
begin( Room& room, std::uint16_t type, std::uint16_t flags, std::uint32_t sequence,
       std::uint32_t link, Prefix const& address ) {
   nlmsghdr* const header = mnl_nlmsg_put_header( room.data() );
   header->nlmsg_type = type;
   header->nlmsg_flags = static_cast< std::uint16_t >( NLM_F_REQUEST | flags );
   header->nlmsg_seq = sequence;
   auto* const body =
       static_cast< ndmsg* >( mnl_nlmsg_put_extra_header( header, sizeof( ndmsg ) ) );
   body->ndm_family = address.isV6 ? AF_INET6 : AF_INET;
   body->ndm_ifindex = static_cast< int >( link );
   mnl_attr_put( header, NDA_DST, address.isV6 ? 16 : 4, address.address.data() );
   return header;
}

} // namespace

NetlinkNeighbours::Entry
NetlinkNeighbours::exchange( std::span< std::byte const > request ) {
   socket_.send( request );
   // The answer is there by now. One to a former request may be left from a failure.
   while ( auto const datagram = socket_.receive( 0 ) ) {
      auto const* const message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
      if ( !mnl_nlmsg_ok( message, static_cast< int >( datagram->bytes.size() ) ) ||
           message->nlmsg_seq != sequence_ )
         continue;
      if ( message->nlmsg_type == NLMSG_ERROR )
         return { .error = errorOf( *message ) };
      if ( message->nlmsg_type != RTM_NEWNEIGH )
         continue;
      auto const* const body = static_cast< ndmsg const* >( mnl_nlmsg_get_payload( message ) );
      Entry entry{ .state = body->ndm_state, .flags = body->ndm_flags };
      auto const* const end = static_cast< char const* >( mnl_nlmsg_get_payload_tail( message ) );
      for ( auto const* attribute = static_cast< nlattr const* >(
                mnl_nlmsg_get_payload_offset( message, sizeof( ndmsg ) ) );
            mnl_attr_ok( attribute,
                         static_cast< int >( end - reinterpret_cast< char const* >( attribute ) ) );
            attribute = mnl_attr_next( attribute ) )
         if ( mnl_attr_get_type( attribute ) == furtherFlagsAttribute )
            entry.furtherFlags = mnl_attr_get_u32( attribute );
      return entry;
   }
   return { .error = ETIMEDOUT };
}

NetlinkNeighbours::Entry
NetlinkNeighbours::look( std::uint32_t link, Prefix const& address ) {
   alignas( nlmsghdr ) Room room{};
   nlmsghdr const* const request = begin( room, RTM_GETNEIGH, 0, ++sequence_, link, address );
   return exchange( std::span( room ).first( request->nlmsg_len ) );
}

int
NetlinkNeighbours::put( std::uint32_t link, Prefix const& address, Entry const& entry,
                        std::uint16_t nlFlags ) {
   alignas( nlmsghdr ) Room room{};
   nlmsghdr* const request =
       begin( room, RTM_NEWNEIGH, static_cast< std::uint16_t >( NLM_F_ACK | nlFlags ), ++sequence_,
              link, address );
   auto* const body = static_cast< ndmsg* >( mnl_nlmsg_get_payload( request ) );
   body->ndm_state = entry.state;
   body->ndm_flags = entry.flags;
   if ( entry.furtherFlags != 0 )
      mnl_attr_put_u32( request, furtherFlagsAttribute, entry.furtherFlags );
   return exchange( std::span( room ).first( request->nlmsg_len ) ).error;
}

std::string
NetlinkNeighbours::ask( std::uint32_t link, Prefix const& address ) try {
   Entry entry = look( link, address );
   if ( ( entry.state & neverAsked ) != 0 )
      return "the kernel never asks it: its entry is permanent or needs no ARP";
   int error = 0;
   if ( ( entry.state & hasAddress ) != 0 ) {
      entry.flags &= keptFlags;
      // An entry that is in PROBE already would not ask anew.
      entry.state = NUD_STALE;
      error = put( link, address, entry, 0 );
      entry.state = NUD_PROBE;
      error = error ? error : put( link, address, entry, 0 );
   }
   if ( ( entry.state & hasAddress ) == 0 || error == EINVAL || error == ENOENT )
      error = put( link, address, { .flags = NTF_USE }, NLM_F_CREATE );
   return error ? "the kernel can't ask it: " + std::generic_category().message( error ) : "";
} catch ( std::system_error const& error ) {
   return std::string( "the kernel can't ask it: " ) + error.what();
}

bool
NetlinkNeighbours::hasAnswered( std::uint32_t link, Prefix const& address ) try {
   return ( look( link, address ).state & answered ) != 0;
} catch ( std::system_error const& ) {
   return false;
}

} // namespace Ufdd
