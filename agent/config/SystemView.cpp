#include "agent/config/SystemView.h"

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <system_error>
#include <vector>

namespace Ufdd {

namespace {

constexpr int answerMilliseconds = 2000;
// A router may have a million routes, and ufdd does nothing else while it reads them. The kernel
// lists the IPv4 default route among the first.
constexpr std::size_t mostRoutes = 20000;

template < class Value >
Value
valueOf( nlattr const* attribute ) {
   Value value{};
   if ( mnl_attr_get_payload_len( attribute ) >= sizeof value )
      std::memcpy( &value, mnl_attr_get_payload( attribute ), sizeof value );
   return value;
}

// Calls visit( attribute ) for each attribute of the message, which has a header of that type.
template < class Header, class Visit >
void
forEachAttribute( nlmsghdr const& message, Visit visit ) {
   auto const call = []( nlattr const* attribute, void* data ) {
      ( *static_cast< Visit* >( data ) )( attribute );
      return MNL_CB_OK;
   };
   mnl_attr_parse( &message, sizeof( Header ), call, &visit );
}

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

struct Device {
   Link link;
   std::uint32_t runsOn = 0;   // The index of the device below, as the kernel says; or 0.
   bool runsElsewhere = false; // The device below is in another network namespace.
   std::string kind;
   std::string name() const { return std::string( link.name.view() ); }
   // Returns the index of the device that this one runs on, or 0. For a veth the kernel reports
   // its other end, which is not below it.
   std::uint32_t lower() const { return runsElsewhere || kind == "veth" ? 0 : runsOn; }
};
using Devices = std::map< std::uint32_t, Device >;

std::string
kindOf( nlattr const* linkInfo ) {
   std::string kind;
   auto const find = []( nlattr const* attribute, void* data ) {
      if ( mnl_attr_get_type( attribute ) == IFLA_INFO_KIND )
         *static_cast< std::string* >( data ) = mnl_attr_get_str( attribute );
      return MNL_CB_OK;
   };
   mnl_attr_parse_nested( linkInfo, find, &kind );
   return kind;
}

Devices
readDevices() {
   Devices devices;
   dump( RTM_GETLINK, SIZE_MAX, [ & ]( nlmsghdr const& message ) {
      auto const link = linkOf( message );
      if ( !link )
         return;
      Device& device = devices[ link->index ];
      device.link = *link;
      forEachAttribute< ifinfomsg >( message, [ & ]( nlattr const* attribute ) {
         switch ( mnl_attr_get_type( attribute ) ) {
         case IFLA_LINK:
            device.runsOn = valueOf< std::uint32_t >( attribute );
            break;
         case IFLA_LINK_NETNSID:
            device.runsElsewhere = true;
            break;
         case IFLA_LINKINFO:
            device.kind = kindOf( attribute );
            break;
         default:
            break;
         }
      } );
   } );
   return devices;
}

// Returns the indexes of the links that carry a default route.
std::vector< std::uint32_t >
readDefaultRoutes() {
   std::vector< std::uint32_t > out;
   dump( RTM_GETROUTE, mostRoutes, [ & ]( nlmsghdr const& message ) {
      if ( message.nlmsg_type != RTM_NEWROUTE ||
           mnl_nlmsg_get_payload_len( &message ) < sizeof( rtmsg ) )
         return;
      auto const& route = *static_cast< rtmsg const* >( mnl_nlmsg_get_payload( &message ) );
      if ( route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST ||
           route.rtm_table != RT_TABLE_MAIN )
         return;
      forEachAttribute< rtmsg >( message, [ & ]( nlattr const* attribute ) {
         if ( mnl_attr_get_type( attribute ) == RTA_OIF )
            out.push_back( valueOf< std::uint32_t >( attribute ) );
         if ( mnl_attr_get_type( attribute ) != RTA_MULTIPATH )
            return;
         auto const* hop = static_cast< rtnexthop const* >( mnl_attr_get_payload( attribute ) );
         std::size_t left = mnl_attr_get_payload_len( attribute );
         while ( left >= sizeof *hop && hop->rtnh_len >= sizeof *hop && hop->rtnh_len <= left ) {
            out.push_back( static_cast< std::uint32_t >( hop->rtnh_ifindex ) );
            left -= std::min< std::size_t >( left, ( hop->rtnh_len + 3u ) & ~3u );
            hop = RTNH_NEXT( hop );
         }
      } );
   } );
   return out;
}

// Adds the names of the device and of all devices below it.
void
addWithLower( Devices const& devices, std::uint32_t index, std::set< std::string >& names ) {
   auto const at = devices.find( index );
   if ( at == devices.end() || !names.insert( at->second.name() ).second )
      return;
   addWithLower( devices, at->second.lower(), names );
   for ( auto const& [ member, device ] : devices )
      if ( device.link.master == index )
         addWithLower( devices, member, names );
}

} // namespace

SystemView
readSystem() {
   Devices const devices = readDevices();
   SystemView view;
   for ( auto const& [ index, device ] : devices ) {
      std::set< std::string >& own = view.interfaces[ device.name() ];
      own.insert( device.name() );
      if ( device.link.isLag )
         for ( auto const& [ member, other ] : devices )
            if ( other.link.master == index )
               own.insert( other.name() );
      for ( auto lower = devices.find( device.lower() ); lower != devices.end();
            lower = devices.find( lower->second.lower() ) )
         if ( !view.runsOn[ device.name() ].insert( lower->second.name() ).second )
            break;
      for ( std::string const& name : device.link.altNames )
         view.interfaces[ name ] = own;
   }
   for ( std::uint32_t const index : readDefaultRoutes() )
      addWithLower( devices, index, view.defaultRoute );
   return view;
}

} // namespace Ufdd
