#include "agent/kernel/NetlinkRouteSource.h"

#include "agent/kernel/LinkMessage.h"
#include "agent/kernel/RouteFilter.h"
#include "agent/kernel/RouteMessage.h"
#include "platform/zet/Clock.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

// In seconds. The start waits so long at most; the kernel lists the default routes of IPv4 first.
constexpr double startingPatience = 0.2;
// In seconds: how long a dump under way may be silent, and how often everything is read again.
constexpr double dumpPatience = 2;
constexpr double pause = 1;
// Few datagrams in a turn: a link message may be waiting, and one holds some hundred routes.
constexpr int datagramsAtOnce = 2;
constexpr int mostDatagrams = 1000; // Number of datagrams when ufdd stops.
constexpr std::size_t settingsPerBatch = 16;
constexpr int orderTimeoutMs = 1000;
constexpr int receiveBuffer = 1 << 20; // In bytes.

} // namespace

void
NetlinkRouteSource::follow( std::span< Prefix const > prefixes ) {
   bool const isSame =
       std::equal( prefixes.begin(), prefixes.end(), prefixes_.begin(), prefixes_.end() );
   if ( socket_ && isSame )
      return;
   if ( socket_ ) {
      socket_->filterIs( routeFilter( prefixes ) );
      prefixes_.assign( prefixes.begin(), prefixes.end() );
      return readAgain();
   }
   auto socket = std::make_unique< NetlinkSocket >();
   // Without the filter, a router with many routes would cost much time: rather follow none.
   socket->filterIs( routeFilter( prefixes ) );
   socket->receiveBufferIs( receiveBuffer );
   for ( int const group : { RTNLGRP_LINK, RTNLGRP_IPV4_IFADDR, RTNLGRP_IPV6_IFADDR,
                             RTNLGRP_IPV4_ROUTE, RTNLGRP_IPV6_ROUTE } )
      socket->subscribe( group );
   loop_.onReadableAtLeisure< &NetlinkRouteSource::handleReadable >( socket->fd(), *this );
   socket_ = std::move( socket );
   prefixes_.assign( prefixes.begin(), prefixes.end() );
   readAgain();
   for ( double const end = Zet::now() + startingPatience;
         reading_ != Reading::done && Zet::now() < end; )
      receive( static_cast< int >( startingPatience * 1000 ) );
}

void
NetlinkRouteSource::handleReadable() {
   for ( int i = 0; i < datagramsAtOnce && receive( 0 ); ++i ) {
   }
}

void
NetlinkRouteSource::deliver() {
   for ( int i = 0; socket_ && i < mostDatagrams && receive( 0 ); ++i ) {
   }
}

void
NetlinkRouteSource::recover() {
   if ( readAt_ && Zet::now() >= *readAt_ )
      readAgain();
}

bool
NetlinkRouteSource::receive( int timeoutMs ) {
   std::optional< NetlinkSocket::Datagram > datagram;
   try {
      datagram = socket_->receive( timeoutMs );
   } catch ( std::system_error const& error ) {
      trouble_ = std::string( error.what() ) + ": all routes are read again";
      handleLoss();
      return false;
   }
   if ( !datagram )
      return false;
   if ( datagram->lossy ) {
      trouble_ =
          "messages about routes were lost, too many came at once: all routes are read again";
      handleLoss();
   }
   if ( datagram->sender != 0 )
      return true;
   auto const* message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
   int left = static_cast< int >( datagram->bytes.size() );
   for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
      handleMessage( *message );
   return true;
}

void
NetlinkRouteSource::handleMessage( nlmsghdr const& message ) {
   bool const ofDump = message.nlmsg_seq == sequence_ && reading_ != Reading::done;
   if ( ofDump )
      readAt_ = Zet::now() + dumpPatience;
   switch ( message.nlmsg_type ) {
   case RTM_NEWROUTE:
   case RTM_DELROUTE:
      if ( auto route = routeOf( message ); route && isWanted( *route ) ) {
         if ( message.nlmsg_type == RTM_NEWROUTE )
            table_.insert( std::move( *route ), message.nlmsg_flags & NLM_F_REPLACE );
         else
            table_.erase( *route );
      }
      break;
   case RTM_NEWADDR:
   case RTM_DELADDR:
      if ( auto address = linkAddressOf( message ) ) {
         if ( message.nlmsg_type == RTM_NEWADDR )
            table_.insert( std::move( *address ) );
         else
            table_.erase( *address );
      }
      break;
   case RTM_NEWLINK:
   case RTM_DELLINK:
      handleLink( message );
      break;
   case NLMSG_DONE:
   case NLMSG_ERROR:
      if ( ofDump )
         handleDumpEnd( message );
      break;
   case NLMSG_OVERRUN:
      handleLoss();
      break;
   default:
      break;
   }
}

void
NetlinkRouteSource::handleLink( nlmsghdr const& message ) {
   auto const link = linkOf( message );
   if ( !link )
      return;
   using Event = RouteListener::LinkEvent;
   bool const isGone = message.nlmsg_type == RTM_DELLINK;
   bool const isNews = isGone || link->adminUp || !table_.isDown( link->index );
   if ( listener_ && isNews )
      listener_->handleLinkEvent( link->index, isGone          ? Event::gone
                                               : link->adminUp ? Event::up
                                                               : Event::down );
   if ( isGone )
      table_.handleLinkGone( link->index );
   else
      table_.handleLink( link->index, link->adminUp );
}

// The messages of a dump are not filtered. A blackhole may have taken the place of a route.
bool
NetlinkRouteSource::isWanted( Route const& route ) const {
   return route.isStatic || !route.isUnicast ||
          ( route.isInMain &&
            ( route.to.length == 0 ||
              std::find( prefixes_.begin(), prefixes_.end(), route.to ) != prefixes_.end() ) );
}

void
NetlinkRouteSource::handleDumpEnd( nlmsghdr const& message ) {
   if ( errorOf( message ) != 0 || message.nlmsg_flags & NLM_F_DUMP_INTR )
      isSpoilt_ = true;
   reading_ = static_cast< Reading >( static_cast< int >( reading_ ) + 1 );
   readAt_.reset();
   if ( reading_ != Reading::done )
      return requestDump();
   // Routes that a loss may hide are kept until a reading was complete.
   if ( isSpoilt_ )
      readAt_ = Zet::now() + pause;
   else
      table_.endReading();
   wasRead_ |= !isSpoilt_;
   if ( std::exchange( wasFull_, table_.isFull() ) != table_.isFull() )
      trouble_ = "there are more than " + std::to_string( RouteTable::mostStaticRoutes ) +
                 " static routes: those of a port may not be put back after it was shut";
}

void
NetlinkRouteSource::handleLoss() {
   if ( listener_ )
      listener_->handleRoutesLost();
   isSpoilt_ = true;
   if ( reading_ == Reading::done && !readAt_ )
      readAt_ = Zet::now() + pause;
}

void
NetlinkRouteSource::readAgain() {
   isSpoilt_ = false;
   table_.beginReading();
   reading_ = Reading::addresses;
   requestDump();
}

void
NetlinkRouteSource::requestDump() {
   alignas( nlmsghdr ) std::array< std::byte, queryRoom > room{};
   bool const isOfRoutes = reading_ != Reading::addresses;
   // All three requests have headers that begin with the family like one for links.
   LinkMessage const query = beginLinkMessage( room.data(), isOfRoutes ? RTM_GETROUTE : RTM_GETADDR,
                                               NLM_F_REQUEST | NLM_F_DUMP, ++sequence_ );
   query.info->ifi_family = !isOfRoutes                     ? AF_UNSPEC
                            : reading_ == Reading::v4Routes ? AF_INET
                                                            : AF_INET6;
   readAt_ = Zet::now() + dumpPatience;
   try {
      socket_->send( std::span( room ).first( query.header->nlmsg_len ) );
   } catch ( std::system_error const& error ) {
      trouble_ = std::string( error.what() ) + ": all routes are read again";
   }
}

void
NetlinkRouteSource::putBack( std::span< LinkSettingRequest > requests ) {
   if ( !orders_ )
      orders_.emplace();
   while ( !requests.empty() ) {
      std::size_t const size = std::min( requests.size(), settingsPerBatch );
      applyBatch( requests.first( size ) );
      requests = requests.subspan( size );
   }
}

void
NetlinkRouteSource::applyBatch( std::span< LinkSettingRequest > requests ) {
   std::uint32_t const first = orderSequence_;
   orderSequence_ += static_cast< std::uint32_t >( requests.size() );
   std::vector< std::byte > batch;
   std::size_t awaited = 0;
   for ( LinkSettingRequest& request : requests ) {
      auto const order = additionOf(
          request.setting, first + static_cast< std::uint32_t >( &request - requests.data() ) );
      request.error = order.empty() ? EBADMSG : ETIMEDOUT;
      awaited += !order.empty();
      batch.insert( batch.end(), order.begin(), order.end() );
   }
   try {
      if ( !batch.empty() )
         orders_->send( batch );
      while ( awaited > 0 ) {
         auto const datagram = orders_->receive( orderTimeoutMs );
         if ( !datagram )
            return;
         auto const* message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
         int left = static_cast< int >( datagram->bytes.size() );
         for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
            if ( std::uint32_t const place = message->nlmsg_seq - first;
                 datagram->sender == 0 && place < requests.size() &&
                 message->nlmsg_type == NLMSG_ERROR ) {
               requests[ place ].error = errorOf( *message );
               --awaited;
            }
      }
   } catch ( std::system_error const& error ) {
      for ( LinkSettingRequest& request : requests )
         if ( request.error == ETIMEDOUT )
            request.error = error.code().value();
   }
}

} // namespace Ufdd
