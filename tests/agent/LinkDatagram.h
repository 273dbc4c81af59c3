#pragma once

#include "agent/kernel/LinkMessage.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <array>
#include <string>
#include <vector>

namespace Ufdd {

// An rtnetlink datagram, written message by message.
struct LinkDatagram {
   // Adds a message about a link, with all properties that ufdd reads.
   LinkDatagram& link( std::uint16_t type, std::uint16_t flags, std::uint32_t sequence,
                       Link const& link ) {
      return add( type, flags, sequence, [ & ]( LinkMessage message ) {
         nlmsghdr* const header = message.header;
         message.info->ifi_index = static_cast< int >( link.index );
         message.info->ifi_flags = ( link.adminUp ? unsigned{ IFF_UP } : 0 ) |
                                   ( link.carrier ? unsigned{ IFF_LOWER_UP } : 0 );
         mnl_attr_put_strz( header, IFLA_IFNAME, link.name.view().data() );
         mnl_attr_put_u8( header, IFLA_OPERSTATE, link.operState );
         if ( link.master )
            mnl_attr_put_u32( header, IFLA_MASTER, link.master );
         std::array< unsigned char, 8 > address{};
         for ( std::size_t i = 0; i < address.size(); ++i )
            address[ i ] = static_cast< unsigned char >( link.address >> 8 * ( 7 - i ) );
         mnl_attr_put( header, link.hasPermanentAddress ? IFLA_PERM_ADDRESS : IFLA_ADDRESS,
                       address.size(), address.data() );
         mnl_attr_put_u8( header, IFLA_PROTO_DOWN, link.protoDown );
         nested( header, IFLA_PROTO_DOWN_REASON, [ & ] {
            mnl_attr_put_u32( header, IFLA_PROTO_DOWN_REASON_VALUE, link.protoDownReasons );
         } );
         nested( header, IFLA_PROP_LIST, [ & ] {
            for ( std::string const& name : link.altNames )
               mnl_attr_put_strz( header, IFLA_ALT_IFNAME, name.c_str() );
         } );
         if ( link.isLag )
            nested( header, IFLA_LINKINFO,
                    [ & ] { mnl_attr_put_strz( header, IFLA_INFO_KIND, "bond" ); } );
      } );
   }
   // Adds the end of a dump. The zero bytes of `info` are read as the errno value 0.
   LinkDatagram& done( std::uint32_t sequence, std::uint16_t flags = 0 ) {
      return add( NLMSG_DONE, static_cast< std::uint16_t >( NLM_F_MULTI | flags ), sequence,
                  []( LinkMessage ) {} );
   }
   template < class Fill >
   LinkDatagram& add( std::uint16_t type, std::uint16_t flags, std::uint32_t sequence, Fill fill ) {
      alignas( nlmsghdr ) std::array< std::byte, 512 > room{};
      LinkMessage const message = beginLinkMessage( room.data(), type, flags, sequence );
      fill( message );
      lastAt = bytes.size();
      bytes.insert( bytes.end(), room.begin(), room.begin() + message.header->nlmsg_len );
      return *this;
   }
   nlmsghdr* last() { return reinterpret_cast< nlmsghdr* >( bytes.data() + lastAt ); }

   std::vector< std::byte > bytes;
   std::size_t lastAt = 0;

 private:
   template < class Fill > static void nested( nlmsghdr* header, std::uint16_t type, Fill fill ) {
      nlattr* const nest = mnl_attr_nest_start( header, type );
      fill();
      mnl_attr_nest_end( header, nest );
   }
};

} // namespace Ufdd
