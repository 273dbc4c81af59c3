#include "agent/config/SystemView.h"

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/NetlinkSocket.h"
#include "agent/kernel/RouteMessage.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <vector>

namespace Ufdd {

namespace {

constexpr int answerMilliseconds = 2000;
// A router may have a million routes, and ufdd does nothing else while it reads them. The kernel
// lists the IPv4 default route among the first.
constexpr std::size_t mostRoutes = 20000;

// Requests a dump and calls visit( message ) for each of its messages, `most` at most.
// Throws: std::system_error when the kernel refuses the dump or does not answer.
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

using Links = std::map< std::uint32_t, Link >; // By index.

Links
readLinks() {
   Links links;
   dump( RTM_GETLINK, SIZE_MAX, [ & ]( nlmsghdr const& message ) {
      if ( auto const link = linkOf( message ) )
         links[ link->index ] = *link;
   } );
   return links;
}

// Returns the indexes of the links that carry a default route.
std::vector< std::uint32_t >
readDefaultRoutes() {
   std::vector< std::uint32_t > out;
   dump( RTM_GETROUTE, mostRoutes, [ & ]( nlmsghdr const& message ) {
      if ( auto const route = routeOf( message ); route && route->isDefault() )
         for ( RouteHop const& hop : route->hops )
            out.push_back( hop.link );
   } );
   return out;
}

std::string
nameOf( Link const& link ) {
   return std::string( link.name.view() );
}

// Adds the names of the link and of all links below it.
void
addWithLower( Links const& links, std::uint32_t index, std::set< std::string >& names ) {
   auto const at = links.find( index );
   if ( at == links.end() || !names.insert( nameOf( at->second ) ).second )
      return;
   addWithLower( links, at->second.lower, names );
   for ( auto const& [ member, link ] : links )
      if ( link.master == index )
         addWithLower( links, member, names );
}

// Adds the link and all links below it, as SystemView::defaultRoute shows them.
void
addCarriers( Links const& links, std::uint32_t index, std::set< std::string > const& others,
             std::map< std::string, std::set< std::string > >& carriers ) {
   auto const at = links.find( index );
   if ( at == links.end() || !carriers.emplace( nameOf( at->second ), others ).second )
      return;
   addCarriers( links, at->second.lower, others, carriers );
   for ( auto const& [ member, link ] : links ) {
      if ( link.master != index )
         continue;
      std::set< std::string > beside = others;
      for ( auto const& [ otherMember, other ] : links )
         if ( other.master == index && otherMember != member )
            addWithLower( links, otherMember, beside );
      addCarriers( links, member, beside, carriers );
   }
}

} // namespace

SystemView
readSystem() {
   Links const links = readLinks();
   SystemView view;
   for ( auto const& [ index, link ] : links ) {
      std::set< std::string >& own = view.interfaces[ nameOf( link ) ];
      own.insert( nameOf( link ) );
      if ( link.isLag )
         for ( auto const& [ member, other ] : links )
            if ( other.master == index )
               own.insert( nameOf( other ) );
      for ( auto lower = links.find( link.lower ); lower != links.end();
            lower = links.find( lower->second.lower ) )
         if ( !view.runsOn[ nameOf( link ) ].insert( nameOf( lower->second ) ).second )
            break;
      for ( std::string const& name : link.altNames )
         view.interfaces[ name ] = own;
   }
   for ( std::uint32_t const index : readDefaultRoutes() )
      addCarriers( links, index, {}, view.defaultRoute );
   return view;
}

} // namespace Ufdd
