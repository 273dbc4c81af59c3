#include "agent/kernel/NetlinkLinkControl.h"

#include "agent/kernel/LinkMessage.h"

#include <libmnl/libmnl.h>
#include <linux/if.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Ufdd {

namespace {

constexpr int answerTimeoutMs = 5000;
constexpr int unanswered = ETIMEDOUT;
// In bytes: more than the messages of a request take.
constexpr std::size_t requestRoom = 256;

// The kernel handles the reasons first. So opening clears our bit even if the reasons of others
// then keep protodown set.
void
putProtoDown( nlmsghdr& command, LinkRequest const& request ) {
   std::uint32_t const bit = 1u << request.reason;
   if ( !request.up || request.means == LinkRequest::Means::protoDown )
      mnl_attr_put_u8( &command, IFLA_PROTO_DOWN, request.up ? 0 : 1 );
   nlattr* const reasons = mnl_attr_nest_start( &command, IFLA_PROTO_DOWN_REASON );
   mnl_attr_put_u32( &command, IFLA_PROTO_DOWN_REASON_MASK, bit );
   mnl_attr_put_u32( &command, IFLA_PROTO_DOWN_REASON_VALUE, request.up ? 0 : bit );
   mnl_attr_nest_end( &command, reasons );
}

std::size_t
putCommand( std::byte* room, LinkRequest const& request, std::uint32_t sequence ) {
   LinkMessage const command = beginLinkMessage( room, RTM_NEWLINK, NLM_F_REQUEST, sequence );
   command.info->ifi_index = static_cast< int >( request.index );
   if ( request.means == LinkRequest::Means::adminDown ) {
      command.info->ifi_flags = request.up ? IFF_UP : 0;
      command.info->ifi_change = IFF_UP;
   } else {
      putProtoDown( *command.header, request );
   }
   return command.header->nlmsg_len;
}

} // namespace

NetlinkLinkControl::NetlinkLinkControl( std::function< void() > afterBatch )
    : afterBatch_( std::move( afterBatch ) ), batch_( batchSize * requestRoom ) {
   socket_.receiveBufferIs( receiveBuffer );
}

bool
NetlinkLinkControl::allowed() {
   // No interface has index 0, but the kernel checks the permission first.
   LinkRequest probe;
   apply( { &probe, 1 } );
   return probe.error != EPERM;
}

void
NetlinkLinkControl::apply( std::span< LinkRequest > requests ) {
   if ( requests.empty() )
      return;
   // Late answers to earlier requests have other numbers.
   firstSequence_ +=
       static_cast< std::uint32_t >( messagesEach * std::exchange( count_, requests.size() ) );
   for ( LinkRequest& request : requests )
      request.error = unanswered;
   auto const batchAt = [ & ]( std::size_t at ) {
      return requests.subspan( at, std::min( batchSize, requests.size() - at ) );
   };
   std::size_t const last = ( requests.size() - 1 ) / batchSize * batchSize;
   for ( std::size_t at = 0; at < last; at += batchSize )
      exchange( requests, batchAt( at ), {} );
   exchange( requests, batchAt( last ), batchAt( last ) );
   for ( std::size_t at = 0; at < last; at += batchSize )
      exchange( requests, {}, batchAt( at ) );
}

void
NetlinkLinkControl::exchange( std::span< LinkRequest > all, std::span< LinkRequest > toChange,
                              std::span< LinkRequest > toQuery ) {
   try {
      send( all, toChange, toQuery );
      receiveAnswers( all, toQuery );
   } catch ( std::system_error const& error ) {
      for ( auto const requests : { toChange, toQuery } )
         for ( LinkRequest& request : requests )
            if ( request.error == unanswered )
               request.error = error.code().value();
   }
   afterBatch_();
}

void
NetlinkLinkControl::receiveAnswers( std::span< LinkRequest > all,
                                    std::span< LinkRequest const > toQuery ) {
   auto const isUnanswered = []( LinkRequest const& request ) {
      return request.error == unanswered;
   };
   int timeoutMs = answerTimeoutMs;
   for ( ;; ) {
      // Waits only for the answers to the last queries; the others come before.
      bool const wait = std::any_of( toQuery.begin(), toQuery.end(), isUnanswered );
      auto const datagram = socket_.receive( wait ? timeoutMs : 0 );
      if ( !datagram )
         return;
      // The kernel has answered all when the sending returns. Answers that are not there are lost.
      if ( datagram->lossy )
         timeoutMs = 0;
      if ( datagram->sender != 0 )
         continue;
      auto const* message = reinterpret_cast< nlmsghdr const* >( datagram->bytes.data() );
      int left = static_cast< int >( datagram->bytes.size() );
      for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
         handleAnswer( *message, all );
   }
}

void
NetlinkLinkControl::send( std::span< LinkRequest > all, std::span< LinkRequest > toChange,
                          std::span< LinkRequest const > toQuery ) {
   std::size_t size = 0;
   auto const sequenceOf = [ & ]( LinkRequest const& request ) {
      return firstSequence_ +
             static_cast< std::uint32_t >( messagesEach * ( &request - all.data() ) );
   };
   for ( LinkRequest& request : toChange ) {
      if ( !glance( request ) )
         size += putLinkQuery( batch_.data() + size, request.index, 0, sequenceOf( request ) );
      if ( !request.onlyQuery )
         size += putCommand( batch_.data() + size, request, sequenceOf( request ) + 1 );
   }
   for ( LinkRequest const& request : toQuery )
      size += putLinkQuery( batch_.data() + size, request.index, 0,
                            sequenceOf( request ) + messagesEach - 1 );
   socket_.send( std::span( batch_ ).first( size ) );
}

// Asks only whether the link is administratively up, which suffices to know whether somebody else
// shut it. Faster than a query, for whose answer the command would wait.
bool
NetlinkLinkControl::glance( LinkRequest& request ) const {
   bool const isEnough = request.before.index && !request.up && !request.onlyQuery &&
                         request.means == LinkRequest::Means::adminDown;
   auto const isUp = isEnough ? probe_.isAdminUp( request.before.name ) : std::nullopt;
   if ( isUp )
      request.before.adminUp = *isUp;
   else
      request.before = {};
   return isUp.has_value();
}

void
NetlinkLinkControl::handleAnswer( nlmsghdr const& message, std::span< LinkRequest > requests ) {
   std::uint32_t const place = message.nlmsg_seq - firstSequence_;
   std::size_t const answered = place / messagesEach;
   if ( answered >= requests.size() )
      return;
   LinkRequest& request = requests[ answered ];
   bool const isBefore = place % messagesEach == 0;
   bool const isAfter = place % messagesEach == messagesEach - 1;
   auto const link = linkOf( message );
   if ( link )
      ( isBefore ? request.before : request.after ) = *link;
   // The kernel answers a command only with an error.
   if ( isAfter ? request.error == unanswered : !isBefore )
      request.error = link ? 0 : errorOf( message );
   // glance() may have seen another link, if the name has moved to that.
   if ( link && isAfter && !request.onlyQuery && request.before.name != link->name )
      request.before = {};
}

} // namespace Ufdd
