#include "agent/NetlinkLinkSource.h"

#include "agent/LinkMessage.h"

#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Ufdd {

namespace {

constexpr int listTimeoutMs = 5000;
// As many as the receive buffer holds, so that what waited there is acted on as one change, and not
// on what was true a while ago; but acting doesn't wait for the end of a storm.
constexpr int datagramsPerTurn = 4096;

} // namespace

NetlinkLinkSource::NetlinkLinkSource( EventLoop& loop, int receiveBuffer )
    : loop_( loop ), receiveBuffer_( receiveBuffer ) {}

void
NetlinkLinkSource::start( LinkListener& listener ) {
   feed_.emplace( listener, socket_.port() );
   socket_.receiveBufferIs( receiveBuffer_ );
   // Before the list is asked for, so that no change falls between the two.
   socket_.subscribe( RTNLGRP_LINK );
   askForDump();
   while ( !feed_->complete() ) {
      if ( !receive( listTimeoutMs ) )
         throw std::system_error( ETIMEDOUT, std::generic_category(),
                                  "the kernel does not list the interfaces" );
      handleReadable();
   }
   loop_.onReadable< &NetlinkLinkSource::handleReadable >( socket_.fd(), *this );
}

void
NetlinkLinkSource::handleReadable() {
   int received = 0;
   while ( received < datagramsPerTurn && receive( 0 ) )
      ++received;
   // Once it has dropped news, the kernel drops more without a word, until nothing waits any more.
   if ( received < datagramsPerTurn && feed_->dumpWanted() )
      askForDump();
}

bool
NetlinkLinkSource::receive( int timeoutMs ) {
   auto const datagram = socket_.receive( timeoutMs );
   if ( !datagram )
      return false;
   hasLoss_ |= datagram->lossy;
   if ( datagram->lossy )
      feed_->handleLoss();
   else
      feed_->handleDatagram( datagram->sender, datagram->bytes );
   return true;
}

void
NetlinkLinkSource::ask( std::span< std::uint32_t const > indexes ) {
   questions_.resize( indexes.size() * questionRoom );
   std::size_t size = 0;
   for ( std::uint32_t const index : indexes )
      size += putLinkQuestion( questions_.data() + size, index, 0, ++sequence_ );
   try {
      socket_.send( std::span( questions_ ).first( size ) );
   } catch ( std::system_error const& error ) {
      askError_ = error.code().value();
   }
   handleReadable();
}

void
NetlinkLinkSource::askForDump() {
   alignas( nlmsghdr ) std::array< std::byte, questionRoom > room{};
   std::size_t const size = putLinkQuestion( room.data(), 0, NLM_F_DUMP, ++sequence_ );
   socket_.send( std::span( room ).first( size ) );
   feed_->handleDumpAsked( sequence_ );
}

} // namespace Ufdd
