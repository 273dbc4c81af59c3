#include "agent/kernel/LinkFeed.h"

#include "agent/kernel/LinkMessage.h"
#include "platform/zet/Clock.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

namespace Ufdd {

namespace {

constexpr std::uint32_t kernelNumber = 0; // Its netlink port number.
constexpr char const* noList = "the kernel does not list the interfaces";

// Returns true for errors that pass. In a storm of messages there may be no room for the answer.
// The kernel then refuses the dump, but goes on with it, and refuses the next one because of that.
bool
isPassing( int error ) {
   return error == ENOBUFS || error == ENOMEM || error == EBUSY || error == EAGAIN;
}

} // namespace

void
LinkFeed::handleDumpAsked( std::uint32_t sequence ) {
   dumpSequence_ = sequence;
   dumpMovedAt_ = Zet::now();
   state_ = State::dump;
   collected_.clear();
}

bool
LinkFeed::takeOverdueDump() {
   if ( !isDumping() || Zet::now() - dumpMovedAt_ < dumpPatience )
      return false;
   state_ = State::lost;
   handleTrouble( noList );
   return true;
}

void
LinkFeed::handleLoss() {
   hasMessages_ = true;
   state_ = isDumping() ? State::spoilt : State::lost;
}

void
LinkFeed::handleTrouble( std::string const& what ) {
   if ( !std::exchange( isTroubled_, true ) )
      trouble_ = what + ": all links are read again";
}

void
LinkFeed::handleDatagram( std::uint32_t sender, std::span< std::byte const > datagram ) {
   // Other processes can send to our socket as well.
   if ( sender != kernelNumber )
      return;
   auto const* message = reinterpret_cast< nlmsghdr const* >( datagram.data() );
   int left = static_cast< int >( datagram.size() );
   for ( ; mnl_nlmsg_ok( message, left ); message = mnl_nlmsg_next( message, &left ) )
      handleMessage( *message );
   if ( left > 0 )
      handleLoss();
}

void
LinkFeed::handleMessage( nlmsghdr const& message ) {
   bool const ofDump = message.nlmsg_seq == dumpSequence_ && isDumping();
   if ( ofDump )
      dumpMovedAt_ = Zet::now();
   // Links were added or removed during the dump: some may be missing in it.
   if ( ofDump && message.nlmsg_flags & NLM_F_DUMP_INTR )
      handleLoss();
   switch ( message.nlmsg_type ) {
   case RTM_NEWLINK:
   case RTM_DELLINK:
      handleLinkMessage( message );
      break;
   case NLMSG_DONE:
      // It may end the previous dump, if ours was refused and that answer was lost.
      if ( ofDump || state_ == State::spoilt )
         handleDumpEnd( message );
      break;
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
LinkFeed::handleLinkMessage( nlmsghdr const& message ) {
   std::optional< Link > const link = linkOf( message );
   if ( !link )
      return;
   hasMessages_ |= message.nlmsg_pid != ownNumber_ || ownNumber_ == 0;
   if ( state_ == State::dump )
      collected_.push_back( *link );
   else if ( state_ != State::live )
      return;
   else if ( message.nlmsg_type == RTM_NEWLINK )
      listener_.handleLink( *link );
   else {
      if ( link->hasMoved )
         listener_.handleLinkMoved( link->index );
      listener_.handleLinkGone( link->index );
   }
}

void
LinkFeed::handleDumpEnd( nlmsghdr const& message ) {
   int const error = errorOf( message );
   // takeOverdueDump() makes the owner request the dump again later.
   if ( error != 0 && !isPassing( error ) ) {
      if ( ++refusals_ == maxRefusals )
         throw std::system_error( error, std::generic_category(), noList );
      return handleTrouble( std::string( noList ) + ": " +
                            std::generic_category().message( error ) );
   }
   if ( error != 0 || state_ == State::spoilt ) {
      state_ = State::lost;
      return;
   }
   std::stable_sort(
       collected_.begin(), collected_.end(),
       []( Link const& left, Link const& right ) { return left.index < right.index; } );
   // Runs from the end, so that the last state of each index stays.
   auto const dropped = std::unique(
       collected_.rbegin(), collected_.rend(),
       []( Link const& left, Link const& right ) { return left.index == right.index; } );
   collected_.erase( collected_.begin(), dropped.base() );
   std::erase_if( collected_, []( Link const& link ) { return link.name.empty(); } );
   state_ = State::live;
   isTroubled_ = false;
   refusals_ = 0;
   listener_.handleLinks( collected_ );
}

} // namespace Ufdd
