#include "agent/kernel/SystemDump.h"

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/NetlinkSocket.h"
#include "agent/kernel/RouteMessage.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <span>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

constexpr int answerMilliseconds = 2000;
constexpr std::size_t mostRoutes = 20000;

// Requests a dump and calls visit( message ) for each of its messages, `most` at most.
template < class Visit >
void
dump( std::uint16_t type, std::size_t most, Visit visit ) {
   NetlinkSocket socket;
   alignas( nlmsghdr ) std::array< std::byte, 64 > room{};
   // A request for routes has a header that begins like one for links.
   LinkMessage const query = beginLinkMessage( room.data(), type, NLM_F_REQUEST | NLM_F_DUMP, 1 );
   socket.send( std::span( room ).first( query.header->nlmsg_len ) );
   while ( auto const datagram = socket.receive( answerMilliseconds ) ) {
      int left = static_cast< int >( datagram->bytes.size() );
      auto const* message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
      for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) ) {
         if ( message->nlmsg_type == NLMSG_DONE )
            return;
         if ( message->nlmsg_type == NLMSG_ERROR )
            throw std::system_error( errorOf( *message ), std::generic_category(),
                                     "can't list this machine's interfaces and routes" );
         if ( most-- == 0 )
            return;
         visit( *message );
      }
   }
   throw std::system_error( ETIMEDOUT, std::generic_category(),
                            "can't list this machine's interfaces and routes" );
}

} // namespace

std::map< std::uint32_t, Link >
dumpLinks() {
   std::map< std::uint32_t, Link > links;
   dump( RTM_GETLINK, SIZE_MAX, [ & ]( nlmsghdr const& message ) {
      if ( auto link = linkOf( message ) )
         links[ link->index ] = std::move( *link );
   } );
   return links;
}

std::vector< Route >
dumpDefaultRoutes() {
   std::vector< Route > routes;
   dump( RTM_GETROUTE, mostRoutes, [ & ]( nlmsghdr const& message ) {
      if ( auto route = routeOf( message ); route && route->isDefault() )
         routes.push_back( std::move( *route ) );
   } );
   return routes;
}

} // namespace Ufdd
