#include "agent/kernel/RouteMessage.h"

#include <libmnl/libmnl.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <tuple>

namespace Ufdd {

namespace {

// In bytes: more than the kernel tells of a route.
constexpr std::size_t mostPayload = 16384;

template < class Visit >
void
forEachAttribute( nlmsghdr const& message, std::size_t headerSize, Visit visit ) {
   auto const call = []( nlattr const* attribute, void* data ) {
      ( *static_cast< Visit* >( data ) )( *attribute );
      return MNL_CB_OK;
   };
   mnl_attr_parse( &message, static_cast< unsigned int >( headerSize ), call, &visit );
}

template < class Value >
Value
valueOf( nlattr const& attribute, std::size_t offset = 0 ) {
   Value value{};
   if ( mnl_attr_get_payload_len( &attribute ) >= offset + sizeof value )
      std::memcpy( &value,
                   static_cast< std::byte const* >( mnl_attr_get_payload( &attribute ) ) + offset,
                   sizeof value );
   return value;
}

void
copyAddress( nlattr const& attribute, std::size_t offset,
             std::array< std::uint8_t, 16 >& address ) {
   std::size_t const size = mnl_attr_get_payload_len( &attribute );
   if ( size > offset )
      std::memcpy( address.data(),
                   static_cast< std::byte const* >( mnl_attr_get_payload( &attribute ) ) + offset,
                   std::min( size - offset, address.size() ) );
}

std::vector< std::byte >
payloadOf( nlmsghdr const& message ) {
   auto const* const begin = static_cast< std::byte const* >( mnl_nlmsg_get_payload( &message ) );
   return { begin, begin + mnl_nlmsg_get_payload_len( &message ) };
}

// Reads RTA_GATEWAY or RTA_VIA into the hop.
void
readGateway( nlattr const& attribute, bool isV6, RouteHop& hop ) {
   int const type = mnl_attr_get_type( &attribute );
   if ( type == RTA_GATEWAY ) {
      hop.isV6 = isV6;
      copyAddress( attribute, 0, hop.gateway );
   } else if ( type == RTA_VIA ) {
      // A family comes first.
      hop.isV6 = valueOf< std::uint16_t >( attribute ) == AF_INET6;
      copyAddress( attribute, sizeof( std::uint16_t ), hop.gateway );
   }
}

// Calls visit( rtnexthop const&, its size ) for each next hop in RTA_MULTIPATH.
template < class Visit >
void
forEachHop( nlattr const& multipath, Visit visit ) {
   auto const* at = static_cast< std::byte const* >( mnl_attr_get_payload( &multipath ) );
   std::size_t left = mnl_attr_get_payload_len( &multipath );
   while ( left >= sizeof( rtnexthop ) ) {
      auto const& hop = *reinterpret_cast< rtnexthop const* >( at );
      if ( hop.rtnh_len < sizeof hop || hop.rtnh_len > left )
         return;
      visit( hop );
      std::size_t const size = std::min< std::size_t >( left, ( hop.rtnh_len + 3u ) & ~3u );
      at += size;
      left -= size;
   }
}

RouteHop
hopOf( rtnexthop const& next, bool isV6 ) {
   RouteHop hop{ .link = static_cast< std::uint32_t >( next.rtnh_ifindex ),
                 .isDead = ( next.rtnh_flags & RTNH_F_DEAD ) != 0 };
   auto const* at = reinterpret_cast< nlattr const* >( &next + 1 );
   int left = next.rtnh_len - static_cast< int >( sizeof next );
   for ( ; mnl_attr_ok( at, left ); left -= MNL_ALIGN( at->nla_len ), at = mnl_attr_next( at ) )
      readGateway( *at, isV6, hop );
   return hop;
}

// Copies the attributes of one message behind the header of another. put( attribute ) returns
// true for those that it has written itself or that are left out.
template < class Put >
void
copyAttributes( nlmsghdr const& from, std::size_t headerSize, nlmsghdr& to, Put put ) {
   std::memcpy( mnl_nlmsg_put_extra_header( &to, headerSize ), mnl_nlmsg_get_payload( &from ),
                headerSize );
   forEachAttribute( from, headerSize, [ & ]( nlattr const& attribute ) {
      if ( !put( attribute ) )
         mnl_attr_put( &to, attribute.nla_type, mnl_attr_get_payload_len( &attribute ),
                       mnl_attr_get_payload( &attribute ) );
   } );
}

// Copies the next hops of RTA_MULTIPATH for which keep( hop ) returns true, without the flags that
// the kernel sets itself.
template < class Keep >
void
putMultipath( nlmsghdr& to, nlattr const& multipath, Keep keep ) {
   std::vector< std::byte > copy;
   forEachHop( multipath, [ & ]( rtnexthop const& hop ) {
      if ( !keep( hop ) )
         return;
      std::size_t const at = copy.size();
      auto const* const begin = reinterpret_cast< std::byte const* >( &hop );
      copy.insert( copy.end(), begin, begin + hop.rtnh_len );
      copy.resize( ( copy.size() + 3u ) & ~std::size_t{ 3 } );
      reinterpret_cast< rtnexthop* >( copy.data() + at )->rtnh_flags &= RTNH_F_ONLINK;
   } );
   mnl_attr_put( &to, RTA_MULTIPATH, copy.size(), copy.data() );
}

} // namespace

std::optional< Route >
routeOf( nlmsghdr const& message ) {
   if ( ( message.nlmsg_type != RTM_NEWROUTE && message.nlmsg_type != RTM_DELROUTE ) ||
        mnl_nlmsg_get_payload_len( &message ) < sizeof( rtmsg ) )
      return std::nullopt;
   auto const& info = *static_cast< rtmsg const* >( mnl_nlmsg_get_payload( &message ) );
   bool const isV6 = info.rtm_family == AF_INET6;
   if ( ( !isV6 && info.rtm_family != AF_INET ) || info.rtm_flags & RTM_F_CLONED ||
        info.rtm_table == RT_TABLE_LOCAL )
      return std::nullopt;
   Route route;
   route.to = { .isV6 = isV6, .length = info.rtm_dst_len };
   route.table = info.rtm_table;
   route.tos = info.rtm_tos;
   RouteHop only{ .isDead = ( info.rtm_flags & RTNH_F_DEAD ) != 0 };
   bool expires = false;
   forEachAttribute( message, sizeof info, [ & ]( nlattr const& attribute ) {
      switch ( mnl_attr_get_type( &attribute ) ) {
      case RTA_DST:
         copyAddress( attribute, 0, route.to.address );
         break;
      case RTA_TABLE:
         route.table = valueOf< std::uint32_t >( attribute );
         break;
      case RTA_PRIORITY:
         route.metric = valueOf< std::uint32_t >( attribute );
         break;
      case RTA_PREFSRC:
         route.hasSource = true;
         copyAddress( attribute, 0, route.source );
         break;
      case RTA_OIF:
         only.link = valueOf< std::uint32_t >( attribute );
         break;
      case RTA_MULTIPATH:
         forEachHop( attribute, [ & ]( rtnexthop const& next ) {
            route.hops.push_back( hopOf( next, isV6 ) );
         } );
         break;
      case RTA_CACHEINFO:
         expires =
             valueOf< std::int32_t >( attribute, offsetof( rta_cacheinfo, rta_expires ) ) != 0;
         break;
      default:
         readGateway( attribute, isV6, only );
         break;
      }
   } );
   if ( route.hops.empty() && only.link != 0 )
      route.hops.push_back( only );
   std::sort( route.hops.begin(), route.hops.end(), []( auto const& left, auto const& right ) {
      return std::tie( left.link, left.gateway ) < std::tie( right.link, right.gateway );
   } );
   route.isInMain = route.table == RT_TABLE_MAIN;
   route.isUnicast = info.rtm_type == RTN_UNICAST;
   route.isStatic = route.isUnicast && !route.hops.empty() && !expires &&
                    ( info.rtm_protocol == RTPROT_BOOT || info.rtm_protocol == RTPROT_STATIC );
   route.payload = payloadOf( message );
   return route;
}

std::optional< LinkAddress >
linkAddressOf( nlmsghdr const& message ) {
   if ( ( message.nlmsg_type != RTM_NEWADDR && message.nlmsg_type != RTM_DELADDR ) ||
        mnl_nlmsg_get_payload_len( &message ) < sizeof( ifaddrmsg ) )
      return std::nullopt;
   auto const& info = *static_cast< ifaddrmsg const* >( mnl_nlmsg_get_payload( &message ) );
   bool const isV6 = info.ifa_family == AF_INET6;
   if ( !isV6 && info.ifa_family != AF_INET )
      return std::nullopt;
   LinkAddress address;
   address.link = info.ifa_index;
   address.prefix = { .isV6 = isV6, .length = info.ifa_prefixlen };
   std::uint32_t flags = info.ifa_flags;
   bool hasLocal = false;
   bool isAdvertised = false;
   forEachAttribute( message, sizeof info, [ & ]( nlattr const& attribute ) {
      switch ( mnl_attr_get_type( &attribute ) ) {
      case IFA_LOCAL:
         hasLocal = true;
         copyAddress( attribute, 0, address.prefix.address );
         break;
      case IFA_ADDRESS:
         // The peer's, if there is a local one.
         if ( !hasLocal )
            copyAddress( attribute, 0, address.prefix.address );
         break;
      case IFA_FLAGS:
         flags = valueOf< std::uint32_t >( attribute );
         break;
      case IFA_PROTO:
         isAdvertised = valueOf< std::uint8_t >( attribute ) == IFAPROT_KERNEL_RA;
         break;
      default:
         break;
      }
   } );
   address.isStatic = isV6 && info.ifa_scope == RT_SCOPE_UNIVERSE && flags & IFA_F_PERMANENT &&
                      !( flags & IFA_F_TEMPORARY ) && !isAdvertised;
   address.payload = payloadOf( message );
   return address;
}

namespace {

// Makes a message of the setting, without a sequence number and for decoding as well.
std::vector< std::byte >
messageOf( LinkSetting const& setting ) {
   std::size_t const headerSize = setting.isRoute ? sizeof( rtmsg ) : sizeof( ifaddrmsg );
   if ( setting.payload.size() < headerSize || setting.payload.size() > mostPayload )
      return {};
   std::vector< std::byte > message( sizeof( nlmsghdr ) + setting.payload.size() );
   auto* const header = mnl_nlmsg_put_header( message.data() );
   header->nlmsg_len = static_cast< std::uint32_t >( message.size() );
   header->nlmsg_type = setting.isRoute ? RTM_NEWROUTE : RTM_NEWADDR;
   std::memcpy( mnl_nlmsg_get_payload( header ), setting.payload.data(), setting.payload.size() );
   return message;
}

} // namespace

void
eraseHops( Route& route, std::vector< RouteHop > const& hops ) {
   std::erase_if( route.hops, [ & ]( RouteHop const& hop ) { return contains( hops, hop ); } );
   std::vector< std::byte > const told = messageOf( { true, route.payload } );
   if ( told.empty() )
      return;
   std::vector< std::byte > room( 2 * told.size() );
   nlmsghdr& message = *mnl_nlmsg_put_header( room.data() );
   copyAttributes( *reinterpret_cast< nlmsghdr const* >( told.data() ), sizeof( rtmsg ), message,
                   [ & ]( nlattr const& attribute ) {
                      bool const isMultipath = mnl_attr_get_type( &attribute ) == RTA_MULTIPATH;
                      if ( isMultipath )
                         putMultipath( message, attribute, [ & ]( rtnexthop const& next ) {
                            return !contains( hops, hopOf( next, route.to.isV6 ) );
                         } );
                      return isMultipath;
                   } );
   route.payload = payloadOf( message );
}

std::vector< std::byte >
additionOf( LinkSetting const& setting, std::uint32_t sequence ) {
   std::vector< std::byte > const told = messageOf( setting );
   if ( told.empty() )
      return {};
   auto const& from = *reinterpret_cast< nlmsghdr const* >( told.data() );
   // Attributes grow by their padding only.
   std::vector< std::byte > room( 2 * told.size() + sizeof( nlmsghdr ) );
   nlmsghdr& request = *mnl_nlmsg_put_header( room.data() );
   request.nlmsg_type = from.nlmsg_type;
   request.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;
   request.nlmsg_seq = sequence;
   std::size_t const headerSize = setting.isRoute ? sizeof( rtmsg ) : sizeof( ifaddrmsg );
   bool hasNexthopObject = false;
   forEachAttribute( from, headerSize, [ & ]( nlattr const& attribute ) {
      hasNexthopObject |= setting.isRoute && mnl_attr_get_type( &attribute ) == RTA_NH_ID;
   } );
   copyAttributes( from, headerSize, request, [ & ]( nlattr const& attribute ) {
      int const type = mnl_attr_get_type( &attribute );
      // A nexthop object stands for the next hops, which the kernel only explains.
      bool const isHop =
          type == RTA_OIF || type == RTA_GATEWAY || type == RTA_VIA || type == RTA_MULTIPATH;
      if ( !setting.isRoute )
         return false;
      if ( type == RTA_CACHEINFO || ( hasNexthopObject && isHop ) )
         return true;
      if ( type == RTA_MULTIPATH )
         putMultipath( request, attribute, []( rtnexthop const& ) { return true; } );
      return type == RTA_MULTIPATH;
   } );
   if ( setting.isRoute )
      static_cast< rtmsg* >( mnl_nlmsg_get_payload( &request ) )->rtm_flags &= RTNH_F_ONLINK;
   room.resize( request.nlmsg_len );
   return room;
}

std::string
commandText( LinkSetting const& setting,
             std::function< std::string( std::uint32_t ) > const& nameOf ) {
   std::vector< std::byte > const told = messageOf( setting );
   if ( told.empty() )
      return "an unreadable setting";
   auto const& message = *reinterpret_cast< nlmsghdr const* >( told.data() );
   if ( auto const address = linkAddressOf( message ) )
      return "address add " + address->prefix.text() + " dev " + nameOf( address->link );
   auto const route = routeOf( message );
   if ( !route )
      return "an unreadable setting";
   std::string text = ( route->to.isV6 ? "-6 route add " : "route add " ) + route->to.text();
   for ( RouteHop const& hop : route->hops ) {
      text += route->hops.size() > 1 ? " nexthop" : "";
      if ( hop.gateway != RouteHop().gateway )
         text += ( hop.isV6 && !route->to.isV6 ? " via inet6 " : " via " ) +
                 addressText( hop.isV6, hop.gateway );
      text += " dev " + nameOf( hop.link );
   }
   if ( route->metric )
      text += " metric " + std::to_string( route->metric );
   if ( !route->isInMain )
      text += " table " + std::to_string( route->table );
   return text;
}

} // namespace Ufdd
