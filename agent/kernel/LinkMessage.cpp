#include "agent/kernel/LinkMessage.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <string_view>

namespace Ufdd {

namespace {

std::uint64_t
addressOf( nlattr const& attribute ) {
   auto const* const bytes =
       static_cast< unsigned char const* >( mnl_attr_get_payload( &attribute ) );
   std::uint64_t address = 0;
   for ( std::size_t i = 0; i < mnl_attr_get_payload_len( &attribute ); ++i )
      address = address << 8 | bytes[ i ];
   return address;
}

int
readReasons( nlattr const* attribute, void* link ) {
   if ( mnl_attr_get_type( attribute ) == IFLA_PROTO_DOWN_REASON_VALUE )
      static_cast< Link* >( link )->protoDownReasons = mnl_attr_get_u32( attribute );
   return MNL_CB_OK;
}

int
readAltName( nlattr const* attribute, void* link ) {
   if ( mnl_attr_get_type( attribute ) == IFLA_ALT_IFNAME &&
        mnl_attr_validate( attribute, MNL_TYPE_NUL_STRING ) == 0 )
      static_cast< Link* >( link )->altNames.emplace_back( mnl_attr_get_str( attribute ) );
   return MNL_CB_OK;
}

struct LinkBeingRead : Link {
   // IFLA_LINK is no link below this one: it is in another network namespace, or the other end of
   // a cable.
   bool hasNoLower = false;
};

int
readKind( nlattr const* attribute, void* data ) {
   auto& link = *static_cast< LinkBeingRead* >( data );
   if ( mnl_attr_get_type( attribute ) == IFLA_INFO_KIND &&
        mnl_attr_validate( attribute, MNL_TYPE_NUL_STRING ) == 0 ) {
      std::string_view const kind = mnl_attr_get_str( attribute );
      link.isLag = kind == "bond" || kind == "team";
      link.hasNoLower |= kind == "veth" || kind == "netkit" || kind == "vxcan";
   }
   return MNL_CB_OK;
}

int
readAttribute( nlattr const* attribute, void* data ) {
   auto& link = *static_cast< LinkBeingRead* >( data );
   switch ( mnl_attr_get_type( attribute ) ) {
   case IFLA_IFNAME:
      if ( mnl_attr_validate( attribute, MNL_TYPE_NUL_STRING ) == 0 )
         link.name = InterfaceName( mnl_attr_get_str( attribute ) );
      break;
   case IFLA_OPERSTATE:
      link.operState = mnl_attr_get_u8( attribute );
      break;
   case IFLA_WIRELESS:
      // An event of a wireless driver. The message says nothing about the link's state.
      return MNL_CB_ERROR;
   case IFLA_PERM_ADDRESS:
      link.address = addressOf( *attribute );
      link.hasPermanentAddress = true;
      break;
   case IFLA_ADDRESS:
      if ( !link.hasPermanentAddress )
         link.address = addressOf( *attribute );
      break;
   case IFLA_MASTER:
      link.master = mnl_attr_get_u32( attribute );
      break;
   case IFLA_LINK:
      link.lower = mnl_attr_get_u32( attribute );
      break;
   case IFLA_LINK_NETNSID:
      link.hasNoLower = true;
      break;
   case IFLA_PROTO_DOWN:
      link.protoDown = mnl_attr_get_u8( attribute ) != 0;
      break;
   case IFLA_PROTO_DOWN_REASON:
      mnl_attr_parse_nested( attribute, readReasons, &link );
      break;
   case IFLA_PROP_LIST:
      mnl_attr_parse_nested( attribute, readAltName, &link );
      break;
   case IFLA_LINKINFO:
      mnl_attr_parse_nested( attribute, readKind, &link );
      break;
   default:
      break;
   }
   return MNL_CB_OK;
}

// Reads a message about the end of a link.
int
readEnd( nlattr const* attribute, void* link ) {
   if ( mnl_attr_get_type( attribute ) == IFLA_NEW_NETNSID )
      static_cast< Link* >( link )->hasMoved = true;
   return MNL_CB_OK;
}

} // namespace

LinkMessage
beginLinkMessage( std::byte* room, std::uint16_t type, std::uint16_t flags,
                  std::uint32_t sequence ) {
   nlmsghdr* const header = mnl_nlmsg_put_header( room );
   header->nlmsg_type = type;
   header->nlmsg_flags = flags;
   header->nlmsg_seq = sequence;
   auto* const info =
       static_cast< ifinfomsg* >( mnl_nlmsg_put_extra_header( header, sizeof( ifinfomsg ) ) );
   info->ifi_family = AF_UNSPEC;
   return { header, info };
}

std::size_t
putLinkQuery( std::byte* room, std::uint32_t index, std::uint16_t flags, std::uint32_t sequence ) {
   LinkMessage const query = beginLinkMessage(
       room, RTM_GETLINK, static_cast< std::uint16_t >( NLM_F_REQUEST | flags ), sequence );
   query.info->ifi_index = static_cast< int >( index );
   mnl_attr_put_u32( query.header, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS );
   return query.header->nlmsg_len;
}

std::optional< Link >
linkOf( nlmsghdr const& message ) {
   if ( message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK )
      return std::nullopt;
   if ( mnl_nlmsg_get_payload_len( &message ) < sizeof( ifinfomsg ) )
      return std::nullopt;
   auto const& info = *static_cast< ifinfomsg const* >( mnl_nlmsg_get_payload( &message ) );
   if ( info.ifi_family != AF_UNSPEC || info.ifi_index <= 0 )
      return std::nullopt;
   LinkBeingRead link;
   link.index = static_cast< std::uint32_t >( info.ifi_index );
   link.adminUp = info.ifi_flags & IFF_UP;
   link.carrier = info.ifi_flags & IFF_LOWER_UP;
   if ( message.nlmsg_type == RTM_NEWLINK ) {
      int const result = mnl_attr_parse( &message, sizeof info, readAttribute, &link );
      if ( result == MNL_CB_ERROR || link.name.empty() )
         return std::nullopt;
      if ( link.hasNoLower )
         link.lower = 0;
   } else {
      mnl_attr_parse( &message, sizeof info, readEnd, static_cast< Link* >( &link ) );
   }
   return link;
}

int
errorOf( nlmsghdr const& message ) {
   if ( mnl_nlmsg_get_payload_len( &message ) < sizeof( int ) )
      return EBADMSG;
   return -*static_cast< int const* >( mnl_nlmsg_get_payload( &message ) );
}

} // namespace Ufdd
